# Installing: the two libraries, the headers an application needs, a CMake package, a pkg-config file.
include(CMakePackageConfigHelpers)

set(header_root ${CMAKE_INSTALL_INCLUDEDIR}/mtpservice)
install(TARGETS MTPService vemomtpsdk EXPORT MTPServiceTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES device/MTPService/MTPService.h device/MTPService/MediaType.h DESTINATION ${header_root}/device/MTPService)
install(FILES host/DebugLevel.h host/MediaLibrary.h host/ProfileHandler.h host/VXDeviceConfirmDelegate.h
    DESTINATION ${header_root}/host)
install(FILES platform/Dates.h platform/Export.h platform/Format.h platform/Log.h platform/NotificationCenter.h
    platform/Paths.h platform/UserDefaults.h platform/Value.h DESTINATION ${header_root}/platform)
install(FILES sdk/include/vemomtpsdk/DeviceReport.h sdk/include/vemomtpsdk/Devices.h
    sdk/include/vemomtpsdk/Diagnosis.h sdk/include/vemomtpsdk/Export.h sdk/include/vemomtpsdk/Gadget.h
    sdk/include/vemomtpsdk/Status.h
    DESTINATION ${header_root}/vemomtpsdk)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/MTPService)
install(EXPORT MTPServiceTargets NAMESPACE MTPService:: DESTINATION ${package_dir})
configure_package_config_file(cmake/MTPServiceConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/MTPServiceConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/MTPServiceConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/MTPServiceConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/MTPServiceConfigVersion.cmake
    DESTINATION ${package_dir})

# Relative to the file itself, so that an installation may be made anywhere and be moved.
file(RELATIVE_PATH pkgconfig_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
configure_file(cmake/mtpservice.pc.in ${CMAKE_CURRENT_BINARY_DIR}/mtpservice.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/mtpservice.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES LICENSE README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(TARGET PkgConfig::LIBUSB)
    # Not below the library folder of the architecture: udev looks in one place.
    install(FILES udev/70-mtpservice.rules DESTINATION lib/udev/rules.d)
endif()
