#!/usr/bin/env bash
# Runs the README's demo session against a build and checks what it shows.
#   check-demo-session.sh SOURCE_DIR BUILD_DIR
set -uo pipefail
source_dir=$1
build_dir=$2
out=$("$source_dir/scripts/demo-session.sh" "$build_dir" 2>&1)
status=$?
failed=0
expect() {
  if ! grep -qF -- "$1" <<<"$out"; then
    echo "missing from the demo output: $1"
    failed=1
  fi
}
expect 'Demo_Fan|DemoProvider|root/cimv2'
expect 'root/cimv2:Demo_Fan.DeviceID="fan0",SystemName="bmc0"'
expect 'root/cimv2:Demo_Fan.DeviceID="fan1",SystemName="bmc0"'
expect '    method SetSpeed(in uint32 DesiredSpeed, out uint32 PreviousSpeed);'
expect 'ReturnValue = 0;'
expect 'PreviousSpeed = 2400;'
expect 'Created = root/cimv2:Demo_Chassis.Tag="chassis1";'
expect '    Model = "X2";'
expect '    PartComponent = root/cimv2:Demo_Fan.DeviceID="fan1",SystemName="bmc0";'
expect '    SpeedHistory = {2200, 2300, 2400, 3000};'
expect "    EffectiveUserID = $(id -u nobody);"
expect 'CMPI_RC_ERR_NOT_FOUND: Demo_Fan DeviceID="fan9",SystemName="bmc0" does not exist'
expect 'CMPI_RC_ERR_ACCESS_DENIED: access denied'
expect 'Demo_Fan.DeviceID="fan1",SystemName="bmc0" Accumulated=9876543210,'
expect "EffectiveUserID=$(id -u nobody),Enabled=FALSE"
expect 'Invalid username/password.'
expect 'failed login of user nobody from 127.0.0.1:'
expect 'cmpi-wbemd stopped cleanly'
expect 'cmpi-hostd stopped cleanly'
if [ "$status" -ne 0 ] || [ "$failed" -ne 0 ]; then
  echo "demo session exit status $status; its output:"
  echo "$out"
  exit 1
fi
echo "demo session: every step showed what it should"
