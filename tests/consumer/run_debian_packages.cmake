# Makes the Debian packages of the build, unpacks them into a scratch root,
# builds the README's example against the unpacked -dev package and runs it,
# and runs the unpacked program.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/root)

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGV}\n${out}\n${err}")
    endif()
    set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(cpack -G DEB -B ${WORK_DIR}/packages --config ${BUILD_DIR}/CPackConfig.cmake)
file(GLOB packages ${WORK_DIR}/packages/*.deb)
list(LENGTH packages count)
if(NOT count EQUAL 3)
    message(FATAL_ERROR "expected three packages, found: ${packages}")
endif()
foreach(package IN LISTS packages)
    run(dpkg-deb --info ${package})
    run(dpkg-deb -x ${package} ${WORK_DIR}/root)
endforeach()

# The runtime package holds the libraries under their SONAME.
file(GLOB sonames ${WORK_DIR}/root/usr/lib/libZelkov.Trimesh.Core.so.*)
if(NOT sonames)
    message(FATAL_ERROR "no libZelkov.Trimesh.Core.so.<major> in the runtime package")
endif()

file(READ ${SOURCE_DIR}/README.md readme)
string(REGEX MATCH "<!-- example -->[^`]*```cpp\n([^`]*)```" found "${readme}")
file(WRITE ${WORK_DIR}/example.cpp "${CMAKE_MATCH_1}")
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/root/usr -DEXAMPLE_SOURCE=${WORK_DIR}/example.cpp)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${WORK_DIR}/root/usr/lib ${WORK_DIR}/build/consumer)
run(${WORK_DIR}/root/usr/bin/zelkov --version)
if(NOT last_output MATCHES "^zelkov ")
    message(FATAL_ERROR "the packaged program printed: ${last_output}")
endif()
