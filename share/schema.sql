-- schema.sql - the tables of a schema database.
--
-- Tbl_ClassMetadata is what the library reads (which provider serves a class, its namespace,
-- whether its provider must stay loaded). The three other tables hold the class definitions a
-- provider host answers GetClass from. Type codes are CMPI type codes, the array flag (8192)
-- included.
--
-- Make a database at any path with:
--   sqlite3 PATH < share/schema.sql && sqlite3 PATH < share/demo-classes.sql

CREATE TABLE Tbl_ClassMetadata (      -- read by the library: provider, namespace, unload policy
  ClassName    TEXT NOT NULL,
  ProviderName TEXT,
  NameSpace    TEXT,
  UnloadNever  TEXT NOT NULL DEFAULT '0');

CREATE TABLE Tbl_ClassProperty (      -- GetClass: the class's properties, in Position order
  ClassName    TEXT NOT NULL,
  PropertyName TEXT NOT NULL,
  DataType     INTEGER NOT NULL,      -- CMPI type code, array flag included
  IsKey        INTEGER NOT NULL DEFAULT 0,
  Position     INTEGER NOT NULL);

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
  Position      INTEGER NOT NULL);
