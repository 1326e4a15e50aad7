# The tests as Windows executables (64-bit mingw-w64), run under Wine by ctest
# (the toolchain's CMAKE_CROSSCOMPILING_EMULATOR). GoogleTest is built from
# Debian's sources in /usr/src/googletest with the same cross compiler.
#
# Wine runs headless in a throw-away prefix inside the build folder; ./kp test
# stops its wineserver when the stage ends.
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Debian's build of GoogleTest warns about its own code under -Wall.
target_compile_options(gtest PRIVATE -w)
target_compile_options(gtest_main PRIVATE -w)

set(KP_WINE_PREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(KP_WINE_ENVIRONMENT "WINEPREFIX=${KP_WINE_PREFIX}" "WINEDEBUG=-all" "DISPLAY=" "WAYLAND_DISPLAY=")
# Paths as a Windows program sees them: Wine's Z: drive is the Linux root.
set(KP_Z "Z:")

# The POSIX calls the tests make (setenv, mkdtemp, dlopen, the exit status of
# pclose) on Windows: force-included and found before the system headers.
set(KP_TEST_COMPAT -include ${CMAKE_CURRENT_SOURCE_DIR}/support/windows/posix_compat.h)

# ABI tests: the built DLL loaded through the host, as a VM on Windows does.
add_library(kp_test_hook SHARED abi/hook_module.c)
set_target_properties(kp_test_hook PROPERTIES PREFIX "")
file(GLOB KP_ABI_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/abi/*.cpp)
add_executable(kp_abi_tests ${KP_ABI_SOURCES})
target_include_directories(kp_abi_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/support/windows)
target_compile_options(kp_abi_tests PRIVATE ${KP_TEST_COMPAT})
target_link_libraries(kp_abi_tests PRIVATE kphost gtest gtest_main)
target_link_options(kp_abi_tests PRIVATE -static)
set_target_properties(kp_abi_tests PROPERTIES ENABLE_EXPORTS ON)
target_compile_definitions(kp_abi_tests PRIVATE
  KP_LIBRARY_PATH="${KP_Z}$<TARGET_FILE:kp160std>"
  KP_HOOK_PATH="${KP_Z}$<TARGET_FILE:kp_test_hook>"
  KP_HOST_PATH="${KP_Z}$<TARGET_FILE:kp>"
  KP_MINGW_DLL_PATH="${KP_Z}${PROJECT_SOURCE_DIR}/build/mingw/KP160STD.DLL")
add_dependencies(kp_abi_tests kp160std kp_test_hook kp)
# One ctest entry per executable: discovering the cases would start Wine once
# more for every build.
add_test(NAME WindowsAbiTests COMMAND kp_abi_tests --gtest_brief=1)
set_tests_properties(WindowsAbiTests PROPERTIES ENVIRONMENT "${KP_WINE_ENVIRONMENT};KP_PREFIX=${KP_Z}${CMAKE_CURRENT_BINARY_DIR}/device-abi" TIMEOUT 900)
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/device-abi)
