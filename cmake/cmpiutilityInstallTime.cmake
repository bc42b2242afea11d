# Runs inside `cmake --install` (included by cmake/cmpiutilityInstall.cmake): writes the systemd
# units of cmpi-hostd and cmpi-wbemd and cmpiutility.pc with the absolute paths of the prefix being installed
# to, then installs them. DESTDIR, when set, is added by file(INSTALL) and does not appear in
# the files' contents.

# An install directory as an absolute path under the prefix (absolute directories stay).
function(cmpiu_absolute out dir)
  if(IS_ABSOLUTE "${dir}")
    set(path "${dir}")
  else()
    string(REGEX REPLACE "/+$" "" base "${CMAKE_INSTALL_PREFIX}")
    set(path "${base}/${dir}")
  endif()
  set(${out} "${path}" PARENT_SCOPE)
endfunction()

set(CMPIU_PREFIX "${CMAKE_INSTALL_PREFIX}")
cmpiu_absolute(CMPIU_ABS_BINDIR "${CMPIU_BINDIR}")
cmpiu_absolute(CMPIU_ABS_SBINDIR "${CMPIU_SBINDIR}")
cmpiu_absolute(CMPIU_ABS_LIBDIR "${CMPIU_LIBDIR}")
cmpiu_absolute(CMPIU_ABS_INCLUDEDIR "${CMPIU_INCLUDEDIR}")
cmpiu_absolute(CMPIU_ABS_DATADIR "${CMPIU_DATADIR}")
cmpiu_absolute(CMPIU_ABS_UNITDIR "${CMPIU_UNITDIR}")
# The demo provider's directory (providers/demo installs into lib/cmpi under the prefix).
cmpiu_absolute(CMPIU_ABS_PROVIDERDIR "lib/cmpi")

configure_file("${CMPIU_SOURCE_DIR}/share/cmpi-hostd.service.in"
  "${CMPIU_STAGING_DIR}/cmpi-hostd.service" @ONLY)
configure_file("${CMPIU_SOURCE_DIR}/share/cmpi-wbemd.service.in"
  "${CMPIU_STAGING_DIR}/cmpi-wbemd.service" @ONLY)
configure_file("${CMPIU_SOURCE_DIR}/share/cmpiutility.pc.in"
  "${CMPIU_STAGING_DIR}/cmpiutility.pc" @ONLY)

file(INSTALL DESTINATION "${CMPIU_ABS_UNITDIR}" TYPE FILE
  FILES "${CMPIU_STAGING_DIR}/cmpi-hostd.service" "${CMPIU_STAGING_DIR}/cmpi-wbemd.service")
file(INSTALL DESTINATION "${CMPIU_ABS_LIBDIR}/pkgconfig" TYPE FILE
  FILES "${CMPIU_STAGING_DIR}/cmpiutility.pc")
