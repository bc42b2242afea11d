#!/usr/bin/env bash
# Installs the build tree into a temporary prefix, checks that every installed file is where
# docs/install.md says, then builds the consumer program (consumer/) against the installed
# package twice -- with find_package(cmpiutility) and with pkg-config -- and runs both.
#
# Usage: install_test.sh BUILD_DIR SOURCE_DIR
# Environment (set by tests/install/CMakeLists.txt):
#   CMPIU_CMAKE CMPIU_GENERATOR CMPIU_MAKE_PROGRAM CMPIU_CC CMPIU_PKG_CONFIG
#   CMPIU_LIBDIR CMPIU_INCLUDEDIR CMPIU_BINDIR CMPIU_SBINDIR CMPIU_DATADIR CMPIU_SYSCONFDIR
#   CMPIU_VERSION
#   CMPIU_CONSUMER_FLAGS   extra compile and link flags (the sanitizers in the sanitizer build)
set -euo pipefail

build_dir=$1
source_dir=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/cmpiu-install-test.XXXXXX")
# `cmake --install` rewrites BUILD_DIR/install_manifest.txt; a manifest of a real install that
# is already there is put back afterwards.
manifest=$build_dir/install_manifest.txt
[ -f "$manifest" ] && cp -p "$manifest" "$work/install_manifest.saved"
cleanup() {
  if [ -f "$work/install_manifest.saved" ]; then
    cp -p "$work/install_manifest.saved" "$manifest"
  else
    rm -f "$manifest"
  fi
  rm -rf "$work"
}
trap cleanup EXIT
prefix=$work/prefix
libdir=$prefix/$CMPIU_LIBDIR
failures=0

fail() {
  printf 'FAIL: %s\n' "$*" >&2
  failures=$((failures + 1))
}
check() { # check DESCRIPTION COMMAND...
  local what=$1
  shift
  if "$@"; then printf 'ok: %s\n' "$what"; else fail "$what"; fi
}
# run LOG COMMAND...: runs the command with its output in LOG; on failure shows LOG and stops.
run() {
  local log=$1
  shift
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    fail "command failed: $*"
    exit 1
  fi
}

# The consumer must see nothing of the build environment's library paths.
unset LD_LIBRARY_PATH DLOG_LEVEL DLOG_OUTPUT CMPIUTILITY_SCHEMA_DB CMPIUTILITY_PROVIDER_DIR

# --- install ---------------------------------------------------------------------------------
run "$work/install.log" "$CMPIU_CMAKE" --install "$build_dir" --prefix "$prefix"

# --- libraries: real file, SONAME link, development link --------------------------------------
soname_of() { "${CMPIU_READELF:-readelf}" -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'; }
for lib in cmpiutility cmpiinterface vorndlog; do
  real=lib$lib.so.$CMPIU_VERSION
  check "$real is a file in $CMPIU_LIBDIR" test -f "$libdir/$real" -a ! -L "$libdir/$real"
  check "lib$lib.so.0 -> $real" test "$(readlink "$libdir/lib$lib.so.0")" = "$real"
  check "lib$lib.so -> lib$lib.so.0" test "$(readlink "$libdir/lib$lib.so")" = "lib$lib.so.0"
  check "SONAME of $real" test "$(soname_of "$libdir/$real")" = "lib$lib.so.0"
done

# --- headers ---------------------------------------------------------------------------------
inc=$prefix/$CMPIU_INCLUDEDIR
for h in "$source_dir"/include/cmpiutility/*.h; do
  check "header cmpiutility/${h##*/}" cmp -s "$h" "$inc/cmpiutility/${h##*/}"
done
for h in cmpidt.h cmpift.h cmpimacs.h cmpios.h cmpiinterface.h; do
  check "header cmpi/$h" cmp -s "$source_dir/platform/cmpi/include/$h" "$inc/cmpi/$h"
done
check "header dlog.h" cmp -s "$source_dir/platform/dlog/include/dlog.h" "$inc/dlog.h"

# --- programs, demo provider ------------------------------------------------------------------
check "bin/cmpi-cli runs from the prefix (no library path set)" \
  test "$("$prefix/$CMPIU_BINDIR/cmpi-cli" --version)" = "cmpi-cli $CMPIU_VERSION"
check "bin/cmpi-mof runs from the prefix (no library path set)" \
  test "$("$prefix/$CMPIU_BINDIR/cmpi-mof" --version)" = "cmpi-mof $CMPIU_VERSION"
check "sbin/cmpi-hostd runs from the prefix (no library path set)" \
  test "$("$prefix/$CMPIU_SBINDIR/cmpi-hostd" --version)" = "cmpi-hostd $CMPIU_VERSION"
check "demo provider in lib/cmpi/" test -f "$prefix/lib/cmpi/libdemoprovider.so"

# --- schema SQL ------------------------------------------------------------------------------
share=$prefix/$CMPIU_DATADIR/cmpiutility
for f in schema.sql demo-classes.sql demo.mof README.md; do
  check "$CMPIU_DATADIR/cmpiutility/$f" cmp -s "$source_dir/share/$f" "$share/$f"
done
if command -v sqlite3 >/dev/null 2>&1; then
  db=$work/CIMSchema.db
  sqlite3 "$db" <"$share/schema.sql" && sqlite3 "$db" <"$share/demo-classes.sql"
  check "the installed SQL makes a schema database serving Demo_Fan" test \
    "$(sqlite3 "$db" "SELECT ProviderName FROM Tbl_ClassMetadata WHERE ClassName='Demo_Fan'")" \
    = DemoProvider
  # The same database made by the installed cmpi-mof from the installed demo.mof.
  mofdb=$work/FromMof.db
  "$prefix/$CMPIU_BINDIR/cmpi-mof" --database "$mofdb" "$share/demo.mof"
  for table in Tbl_ClassMetadata Tbl_Class Tbl_ClassProperty Tbl_ClassMethod Tbl_MethodParameter; do
    check "installed cmpi-mof and demo.mof: $table as demo-classes.sql makes it" test \
      "$(sqlite3 "$mofdb" "SELECT * FROM $table ORDER BY rowid")" = \
      "$(sqlite3 "$db" "SELECT * FROM $table ORDER BY rowid")"
  done
fi

# --- systemd unit ----------------------------------------------------------------------------
unit=$prefix/lib/systemd/system/cmpi-hostd.service
has_line() { grep -qxF -- "$2" "$1"; }
check "unit file installed" test -f "$unit"
check "unit: ExecStart with the installed paths" has_line "$unit" \
  "ExecStart=$prefix/$CMPIU_SBINDIR/cmpi-hostd --foreground --socket /run/cmpi-hostd.sock --provider-dir $prefix/lib/cmpi/"
for line in Type=simple Restart=on-failure User=root ProtectSystem=full PrivateTmp=yes \
  WantedBy=multi-user.target; do
  check "unit: $line" has_line "$unit" "$line"
done
check "unit: NoNewPrivileges not set" bash -c '! grep -q "^NoNewPrivileges" "$1"' _ "$unit"
check "unit: no unreplaced @VARIABLE@" bash -c '! grep -q "@[A-Z_]*@" "$1"' _ "$unit"
if command -v systemd-analyze >/dev/null 2>&1; then
  if out=$(systemd-analyze verify "$unit" 2>&1) && [ -z "$out" ]; then
    printf 'ok: systemd-analyze verify\n'
  else
    fail "systemd-analyze verify: $out"
  fi
fi

# --- cmpi-wbemd: program, unit, PAM service, user ---------------------------------------------
check "sbin/cmpi-wbemd runs from the prefix (no library path set)" \
  test "$("$prefix/$CMPIU_SBINDIR/cmpi-wbemd" --version)" = "cmpi-wbemd $CMPIU_VERSION"
wunit=$prefix/lib/systemd/system/cmpi-wbemd.service
check "cmpi-wbemd unit file installed" test -f "$wunit"
check "cmpi-wbemd unit: ExecStart with the installed path" has_line "$wunit" \
  "ExecStart=$prefix/$CMPIU_SBINDIR/cmpi-wbemd --foreground --host-socket /run/cmpi-hostd.sock"
for line in "After=network.target cmpi-hostd.service" Type=simple User=root NoNewPrivileges=yes \
  WantedBy=multi-user.target; do
  check "cmpi-wbemd unit: $line" has_line "$wunit" "$line"
done
check "cmpi-wbemd unit: no unreplaced @VARIABLE@" bash -c '! grep -q "@[A-Z_]*@" "$1"' _ "$wunit"
if command -v systemd-analyze >/dev/null 2>&1; then
  if out=$(systemd-analyze verify "$wunit" 2>&1) && [ -z "$out" ]; then
    printf 'ok: systemd-analyze verify cmpi-wbemd.service\n'
  else
    fail "systemd-analyze verify cmpi-wbemd.service: $out"
  fi
fi
check "PAM service in $CMPIU_SYSCONFDIR/pam.d" \
  cmp -s "$source_dir/share/cmpi-wbemd.pam" "$prefix/$CMPIU_SYSCONFDIR/pam.d/cmpi-wbemd"
check "PAM service: authentication and account stacks" has_line \
  "$prefix/$CMPIU_SYSCONFDIR/pam.d/cmpi-wbemd" "@include common-account"
check "sysusers.d entry of the cmpi-wbemd user" \
  grep -q "^u cmpi-wbemd " "$prefix/lib/sysusers.d/cmpi-wbemd.conf"

# --- package files carry no build-tree or source-tree paths -----------------------------------
pc=$libdir/pkgconfig/cmpiutility.pc
pkgdir=$libdir/cmake/cmpiutility
check "pkg-config file in $CMPIU_LIBDIR/pkgconfig" test -f "$pc"
for f in cmpiutilityConfig.cmake cmpiutilityConfigVersion.cmake cmpiutilityTargets.cmake; do
  check "CMake package file $f" test -f "$pkgdir/$f"
done
for tree in "$build_dir" "$source_dir"; do
  check "no path of $tree in the package files" \
    bash -c '! grep -rqF -- "$1" "$2" "$3" "$4" "$5"' _ "$tree" "$pkgdir" "$pc" "$unit" "$wunit"
done
check "exported targets do not name jsoncpp or SQLite" \
  bash -c '! grep -qiE "jsoncpp|sqlite" "$1"/cmpiutilityTargets*.cmake' _ "$pkgdir"

# --- the consumer ----------------------------------------------------------------------------
expected='{"ClassName":"Demo_Fan","NameSpace":"root/cimv2","Principal":"root","RequestType":3,"key":"DeviceID=fan0,SystemName=bmc0,"}CMPI_EOF'
read -r -a extra_flags <<<"${CMPIU_CONSUMER_FLAGS:-}"

# 1. find_package(cmpiutility)
cbuild=$work/consumer-cmake
run "$work/consumer-configure.log" "$CMPIU_CMAKE" -S "$source_dir/tests/install/consumer" \
  -B "$cbuild" -G "$CMPIU_GENERATOR" -DCMAKE_MAKE_PROGRAM="$CMPIU_MAKE_PROGRAM" \
  -DCMAKE_C_COMPILER="$CMPIU_CC" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF \
  -DCMAKE_C_FLAGS="${CMPIU_CONSUMER_FLAGS:-}" -DCMAKE_EXE_LINKER_FLAGS="${CMPIU_CONSUMER_FLAGS:-}"
check "find_package found the package in the prefix" \
  grep -qxF -- "-- cmpiutility_DIR=$pkgdir" "$work/consumer-configure.log"
check "find_package reports version $CMPIU_VERSION" \
  grep -qxF -- "-- cmpiutility_VERSION=$CMPIU_VERSION" "$work/consumer-configure.log"
run "$work/consumer-build.log" "$CMPIU_CMAKE" --build "$cbuild"
out=$(LD_LIBRARY_PATH=$libdir "$cbuild/consumer") || fail "find_package consumer exited with $?"
check "find_package consumer prints the frame" test "$out" = "$expected"
check "find_package consumer uses the installed library" \
  bash -c 'LD_LIBRARY_PATH=$2 ldd "$1" | grep -qF "libcmpiutility.so.0 => $2/libcmpiutility.so.0"' \
  _ "$cbuild/consumer" "$libdir"

# 2. pkg-config, with the prefix's pkgconfig directory as the only search directory
export PKG_CONFIG_LIBDIR=$libdir/pkgconfig PKG_CONFIG_PATH=
check "pkg-config --modversion" test "$("$CMPIU_PKG_CONFIG" --modversion cmpiutility)" = "$CMPIU_VERSION"
read -r -a pc_flags <<<"$("$CMPIU_PKG_CONFIG" --cflags --libs cmpiutility)"
for f in "-I$inc" "-I$inc/cmpi" -DCMPI_PLATFORM_LINUX_GENERIC_GNU "-L$libdir" -lcmpiutility \
  -lcmpiinterface -lvorndlog; do
  check "pkg-config flag $f" bash -c 'f=$1; shift; for a; do [ "$a" = "$f" ] && exit 0; done; exit 1' \
    _ "$f" "${pc_flags[@]}"
done
run "$work/consumer-pc.log" "$CMPIU_CC" -std=c11 -Wall -Wextra -Werror "${extra_flags[@]}" \
  "$source_dir/tests/install/consumer/consumer.c" "${pc_flags[@]}" -o "$work/consumer-pc"
out=$(LD_LIBRARY_PATH=$libdir "$work/consumer-pc") || fail "pkg-config consumer exited with $?"
check "pkg-config consumer prints the frame" test "$out" = "$expected"

if [ "$failures" -ne 0 ]; then
  printf '%d check(s) failed\n' "$failures" >&2
  exit 1
fi
printf 'all install checks passed\n'
