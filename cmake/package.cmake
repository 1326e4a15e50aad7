# Installing the library as a C/C++ library is installed on Debian: a
# versioned shared object, the public header, a CMake package, a pkg-config
# file, the kp host with its man page and the docs; CPack makes a .deb of it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The header's version macros follow the project's.
file(STRINGS ${PROJECT_SOURCE_DIR}/include/kp160std/abi.h kp_header_version REGEX "#define KP160STD_VERSION \"")
if(NOT kp_header_version MATCHES "\"${PROJECT_VERSION}\"")
  message(FATAL_ERROR "include/kp160std/abi.h says ${kp_header_version}; the project is ${PROJECT_VERSION}")
endif()

set_target_properties(kp160std PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(kp160std INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

install(TARGETS kp160std EXPORT kp160stdTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/kp160std/abi.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kp160std
        COMPONENT development)
install(EXPORT kp160stdTargets NAMESPACE kp160std:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kp160std
        COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/package/kp160stdConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/kp160stdConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kp160std)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kp160stdConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kp160stdConfig.cmake ${PROJECT_BINARY_DIR}/kp160stdConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kp160std COMPONENT development)
file(RELATIVE_PATH KP_PC_UP "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/package/kp160std.pc.in ${PROJECT_BINARY_DIR}/kp160std.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kp160std.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime
        FILES_MATCHING PATTERN "*.md")
install(FILES ${PROJECT_SOURCE_DIR}/docs/kp.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)

# One .deb with the library, the header, the CMake and pkg-config files, kp and
# the docs: what a VM author or a KL user needs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kp160std)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "kp160std developers <kp160std@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Standard-function library of the KL virtual machine, and the kp host")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
