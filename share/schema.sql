-- schema.sql - the tables of a schema database.
--
-- Tbl_ClassMetadata is what the library reads (which provider serves a class, its namespace,
-- whether its provider must stay loaded). Tbl_Class holds every declared class, with its
-- superclass: the class hierarchy the host uses for GetClass (inherited properties), for
-- class-path checks and for finding the association classes that can refer to a class. The
-- three other tables hold what each class declares itself (not what it inherits). Type codes
-- are CMPI type codes, the array flag (8192) included. cmpi-mof fills all of them from MOF.
--
-- Make a database at any path with:
--   sqlite3 PATH < share/schema.sql && sqlite3 PATH < share/demo-classes.sql

CREATE TABLE Tbl_ClassMetadata (      -- read by the library: provider, namespace, unload policy
  ClassName    TEXT NOT NULL,
  ProviderName TEXT,
  NameSpace    TEXT,
  UnloadNever  TEXT NOT NULL DEFAULT '0');

CREATE TABLE Tbl_Class (              -- every declared class, registered or not
  ClassName     TEXT NOT NULL,
  SuperClass    TEXT,                 -- NULL for a class without a superclass
  NameSpace     TEXT,
  IsAssociation INTEGER NOT NULL DEFAULT 0,
  IsAbstract    INTEGER NOT NULL DEFAULT 0);

CREATE TABLE Tbl_ClassProperty (      -- the properties a class declares, in Position order
  ClassName      TEXT NOT NULL,
  PropertyName   TEXT NOT NULL,
  DataType       INTEGER NOT NULL,    -- CMPI type code, array flag included
  IsKey          INTEGER NOT NULL DEFAULT 0,
  Position       INTEGER NOT NULL,
  ReferenceClass TEXT,                -- a reference's target class (DataType 4352 or 12544)
  DefaultValue   TEXT);               -- the MOF default as JSON text: a number, a string,
                                      -- true/false, or an array of those; NULL for none

CREATE TABLE Tbl_ClassMethod (        -- GetClass: the class's methods
  ClassName    TEXT NOT NULL,
  MethodName   TEXT NOT NULL,
  ReturnType   INTEGER NOT NULL,      -- CMPI type code of the return value
  Position     INTEGER NOT NULL);

CREATE TABLE Tbl_MethodParameter (    -- GetClass: one row per method parameter
  ClassName     TEXT NOT NULL,
  MethodName    TEXT NOT NULL,
  ParameterName TEXT NOT NULL,
  DataType      INTEGER NOT NULL,
  Direction     TEXT NOT NULL,        -- 'in', 'out' or 'inout'
  Position      INTEGER NOT NULL,
  ReferenceClass TEXT);               -- a reference parameter's target class
