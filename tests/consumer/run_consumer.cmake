# Installs the built project into a scratch prefix and builds the README's
# examples against it as an outside project with find_package, then runs them.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
include(${CMAKE_CURRENT_LIST_DIR}/consumer_programs.cmake)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
build_and_run_consumers(${WORK_DIR}/prefix)

# The pkg-config file names the installed libraries.
file(READ ${WORK_DIR}/prefix/lib/pkgconfig/zelkov-trimesh.pc pc)
if(NOT pc MATCHES "-lZelkov.Trimesh.Core")
    message(FATAL_ERROR "zelkov-trimesh.pc does not link Zelkov.Trimesh.Core")
endif()
