# Makes the Debian packages of the build, unpacks them into a scratch root,
# builds the README's examples against the unpacked -dev package and runs
# them, and runs the unpacked program.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/root)

include(${CMAKE_CURRENT_LIST_DIR}/consumer_programs.cmake)

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

set(LIBRARY_PATH ${WORK_DIR}/root/usr/lib)
build_and_run_consumers(${WORK_DIR}/root/usr)
run(${WORK_DIR}/root/usr/bin/zelkov --version)
if(NOT last_output MATCHES "^zelkov ")
    message(FATAL_ERROR "the packaged program printed: ${last_output}")
endif()
