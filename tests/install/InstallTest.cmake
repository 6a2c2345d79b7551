# cmake -DBUILD=… -DSOURCE=… -DWORK=… -DCOMPILER=… -DGENERATOR=… -P InstallTest.cmake
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${status}:\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/home)
set(prefix ${WORK}/prefix)
set(ENV{HOME} ${WORK}/home)
set(ENV{XDG_CONFIG_HOME} ${WORK}/home/.config)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/client -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK}/client)
run(${WORK}/client/client ${WORK}/device)

file(GLOB_RECURSE package ${prefix}/mtpservice.pc)
cmake_path(GET package PARENT_PATH folder)
set(ENV{PKG_CONFIG_PATH} ${folder})
execute_process(COMMAND pkg-config --cflags --libs mtpservice OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${COMPILER} ${SOURCE}/main.cpp -o ${WORK}/pkgconfig-client ${flags})
run(${WORK}/pkgconfig-client ${WORK}/device2)

# The program finds its libraries, and the helper that reads pictures, where they were put.
file(WRITE ${WORK}/picture.jpg "no picture")
run(${prefix}/bin/mtpservice --virtual ${WORK}/device put ${WORK}/picture.jpg)
file(GLOB_RECURSE copied ${WORK}/device/Phone/*picture.jpg)
if(NOT copied)
    message(FATAL_ERROR "The installed mtpservice copied nothing.")
endif()
