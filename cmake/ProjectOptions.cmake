# What every target of the project is compiled with. Each target links `project_options`.
add_library(project_options INTERFACE)
target_compile_features(project_options INTERFACE cxx_std_20)
target_compile_options(project_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Werror)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
# Everything is hidden unless it is marked for export; all code may end up in a shared library.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(project_options INTERFACE -Wthread-safety)
else()
    # g++ 12 sees overlaps in optimised std::string assignments, and overflows in optimised atomic stores, that are none.
    target_compile_options(project_options INTERFACE -Wno-restrict -Wno-stringop-overflow)
    if(CMAKE_UNITY_BUILD)
        # Sources compiled jointly look like headers, whose types must not hold those of anonymous namespaces.
        target_compile_options(project_options INTERFACE -Wno-subobject-linkage)
    endif()
endif()

if(MTPSERVICE_SANITIZE)
    target_compile_options(project_options INTERFACE -fsanitize=${MTPSERVICE_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        # The checks that g++ inserts confuse its own analysis of std::variant and std::optional.
        target_compile_options(project_options INTERFACE -Wno-maybe-uninitialized)
    endif()
    target_link_options(project_options INTERFACE -fsanitize=${MTPSERVICE_SANITIZE})
endif()

find_package(Threads REQUIRED)
find_package(ICU REQUIRED COMPONENTS uc i18n)
find_package(LibXml2 REQUIRED)
find_package(fmt REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(nlohmann_json REQUIRED)
if(MTPSERVICE_USB)
    find_package(PkgConfig)
    if(PKG_CONFIG_FOUND)
        pkg_check_modules(LIBUSB IMPORTED_TARGET libusb-1.0)
    endif()
    if(NOT TARGET PkgConfig::LIBUSB)
        message(WARNING "libusb-1.0 was not found: built for virtual devices only.")
    endif()
endif()

# mtp_add_test(name SOURCES file... LINKS target...): one GoogleTest binary, one ctest entry per binary.
function(mtp_add_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE project_options ${ARG_LINKS} GTest::gtest GTest::gtest_main)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 900)
    endif()
    add_test(NAME ${name} COMMAND ${name})
    # What is plugged into the computer is none of the tests' business.
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT MTPSERVICE_NO_USB=1)
endfunction()
