-- demo-classes.sql - the demo classes, served by the provider "DemoProvider"
-- (libdemoprovider.so), in namespace root/cimv2. Load after schema.sql.
--
-- Type codes: boolean 2, char16 3, real32 8, real64 12, uint8 128, uint16 144, uint32 160,
-- uint64 176, sint8 192, sint16 208, sint32 224, sint64 240, embedded instance 4096,
-- reference 4352, string 5632, dateTime 6144; array = code + 8192.

BEGIN;

INSERT INTO Tbl_ClassMetadata (ClassName, ProviderName, NameSpace, UnloadNever) VALUES
  ('Demo_Chassis',    'DemoProvider', 'root/cimv2', '0'),
  ('Demo_Fan',        'DemoProvider', 'root/cimv2', '0'),
  ('Demo_ChassisFan', 'DemoProvider', 'root/cimv2', '0');

INSERT INTO Tbl_ClassProperty (ClassName, PropertyName, DataType, IsKey, Position) VALUES
  ('Demo_Chassis', 'Tag',             5632, 1,  1),
  ('Demo_Chassis', 'Manufacturer',    5632, 0,  2),
  ('Demo_Chassis', 'Model',           5632, 0,  3),
  ('Demo_Chassis', 'SerialNumber',    5632, 0,  4),
  ('Demo_Chassis', 'FanCount',         128, 0,  5),

  ('Demo_Fan',     'DeviceID',        5632, 1,  1),
  ('Demo_Fan',     'SystemName',      5632, 1,  2),
  ('Demo_Fan',     'Name',            5632, 0,  3),
  ('Demo_Fan',     'Enabled',            2, 0,  4),
  ('Demo_Fan',     'Initial',            3, 0,  5),
  ('Demo_Fan',     'HealthState',      144, 0,  6),
  ('Demo_Fan',     'Speed',            160, 0,  7),
  ('Demo_Fan',     'DesiredSpeed',     160, 0,  8),
  ('Demo_Fan',     'MaxSpeed',         176, 0,  9),
  ('Demo_Fan',     'Level',            128, 0, 10),
  ('Demo_Fan',     'Offset',           192, 0, 11),
  ('Demo_Fan',     'Trend',            208, 0, 12),
  ('Demo_Fan',     'Temperature',      224, 0, 13),
  ('Demo_Fan',     'Accumulated',      240, 0, 14),
  ('Demo_Fan',     'Ratio',              8, 0, 15),
  ('Demo_Fan',     'Load',              12, 0, 16),
  ('Demo_Fan',     'InstallDate',     6144, 0, 17),
  ('Demo_Fan',     'SpeedHistory',    8352, 0, 18),  -- uint32 array
  ('Demo_Fan',     'Tags',           13824, 0, 19),  -- string array
  ('Demo_Fan',     'Chassis',         4352, 0, 20),  -- reference to its Demo_Chassis
  ('Demo_Fan',     'Sensor',          4096, 0, 21),  -- embedded Demo_Sensor
  ('Demo_Fan',     'EffectiveUserID',  160, 0, 22),
  ('Demo_Fan',     'Notes',           5632, 0, 23),

  ('Demo_ChassisFan', 'GroupComponent', 4352, 1, 1), -- reference to a Demo_Chassis
  ('Demo_ChassisFan', 'PartComponent',  4352, 1, 2), -- reference to a Demo_Fan

  -- Demo_Sensor exists only embedded in Demo_Fan.Sensor: no provider, no metadata row; its
  -- properties are listed so that clients can read the embedded instance's definition.
  ('Demo_Sensor',  'Reading',          144, 0,  1),
  ('Demo_Sensor',  'Units',           5632, 0,  2);

INSERT INTO Tbl_ClassMethod (ClassName, MethodName, ReturnType, Position) VALUES
  ('Demo_Fan', 'SetSpeed', 160, 1);

INSERT INTO Tbl_MethodParameter
  (ClassName, MethodName, ParameterName, DataType, Direction, Position) VALUES
  ('Demo_Fan', 'SetSpeed', 'DesiredSpeed',  160, 'in',  1),
  ('Demo_Fan', 'SetSpeed', 'PreviousSpeed', 160, 'out', 2);

COMMIT;
