# What `cmake --install` puts where (docs/install.md has the user's view of it).
#
#   ${CMAKE_INSTALL_LIBDIR}             libcmpiutility, libcmpiinterface, libvorndlog (.so.0.x.y,
#                                       the .so.0 SONAME link and the .so development link)
#   ${CMAKE_INSTALL_INCLUDEDIR}/cmpiutility/   the library's public headers
#   ${CMAKE_INSTALL_INCLUDEDIR}/cmpi/   our CMPI headers (consumers get this directory on their
#                                       include path and write #include <cmpidt.h>)
#   ${CMAKE_INSTALL_INCLUDEDIR}/dlog.h  the log library's header
#   ${CMAKE_INSTALL_LIBDIR}/pkgconfig/cmpiutility.pc
#   ${CMAKE_INSTALL_LIBDIR}/cmake/cmpiutility/   the CMake package (targets cmpiutility::*)
#   ${CMAKE_INSTALL_DATADIR}/cmpiutility/        schema SQL, the demo classes in MOF, the README
#   lib/systemd/system/cmpi-hostd.service        the daemon's unit
#   lib/systemd/system/cmpi-wbemd.service        the CIM-XML front end's unit
#   ${CMAKE_INSTALL_SYSCONFDIR}/pam.d/cmpi-wbemd  its PAM service (/etc/pam.d for prefix /usr)
#   lib/sysusers.d/cmpi-wbemd.conf               the user it runs as, for systemd-sysusers
# The programs (bin/cmpi-cli, bin/cmpi-mof, sbin/cmpi-hostd, sbin/cmpi-wbemd) and the demo provider (lib/cmpi/)
# are installed by their own CMakeLists.txt. cmpi-mof links no library of this project (only
# SQLite), so it needs no run-time search path.
#
# The unit file and the pkg-config file name absolute paths, so they are written when the
# install runs, from the prefix actually used (`cmake --install BUILD --prefix P` works).

include(CMakePackageConfigHelpers)

set(CMPIUTILITY_SYSTEMD_UNITDIR "lib/systemd/system" CACHE STRING
    "Where the systemd unit of cmpi-hostd is installed (relative to the prefix, or absolute)")
set(CMPIUTILITY_CMAKE_PACKAGEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/cmpiutility")

# The log library's header lives in the build tree's platform/dlog/include; installed it is
# straight in include/.
target_include_directories(vorndlog PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# The installed programs find the installed libraries from any prefix.
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(cmpi-hostd cmpi-cli PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  if(TARGET cmpi-wbemd)
    set_target_properties(cmpi-wbemd PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  endif()
endif()

# Libraries. libcmpiutility links jsoncpp, SQLite and libdl privately: they stay out of the
# exported interface, so consumers need neither their headers nor their package files.
install(TARGETS cmpiutility cmpiinterface vorndlog
  EXPORT cmpiutilityTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Headers.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/cmpiutility
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/cmpi/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/cmpi
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/platform/dlog/include/dlog.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Schema SQL, the demo classes in MOF (what cmpi-mof reads) and the README.
install(FILES
    ${PROJECT_SOURCE_DIR}/share/schema.sql
    ${PROJECT_SOURCE_DIR}/share/demo-classes.sql
    ${PROJECT_SOURCE_DIR}/share/demo.mof
    ${PROJECT_SOURCE_DIR}/share/README.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/cmpiutility)

# CMake package: cmpiutility::cmpiutility, cmpiutility::cmpiinterface, cmpiutility::vorndlog.
install(EXPORT cmpiutilityTargets
  NAMESPACE cmpiutility::
  DESTINATION ${CMPIUTILITY_CMAKE_PACKAGEDIR})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/cmpiutilityConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/cmpiutilityConfig.cmake
  INSTALL_DESTINATION ${CMPIUTILITY_CMAKE_PACKAGEDIR}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/packaging/cmpiutilityConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/packaging/cmpiutilityConfig.cmake
    ${PROJECT_BINARY_DIR}/packaging/cmpiutilityConfigVersion.cmake
  DESTINATION ${CMPIUTILITY_CMAKE_PACKAGEDIR})

# The systemd unit and the pkg-config file, configured at install time (see the top).
install(CODE "
  set(CMPIU_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
  set(CMPIU_STAGING_DIR \"${PROJECT_BINARY_DIR}/packaging/install-time\")
  set(CMPIU_VERSION \"${PROJECT_VERSION}\")
  set(CMPIU_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
  set(CMPIU_SBINDIR \"${CMAKE_INSTALL_SBINDIR}\")
  set(CMPIU_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(CMPIU_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(CMPIU_DATADIR \"${CMAKE_INSTALL_DATADIR}\")
  set(CMPIU_UNITDIR \"${CMPIUTILITY_SYSTEMD_UNITDIR}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/cmpiutilityInstallTime.cmake\")
")

# cmpi-wbemd's PAM service and the user it runs as.
install(FILES ${PROJECT_SOURCE_DIR}/share/cmpi-wbemd.pam
  DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/pam.d RENAME cmpi-wbemd)
install(FILES ${PROJECT_SOURCE_DIR}/share/cmpi-wbemd.sysusers.conf
  DESTINATION lib/sysusers.d RENAME cmpi-wbemd.conf)
