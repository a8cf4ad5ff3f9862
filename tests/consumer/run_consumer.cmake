# Installs the built project into a scratch prefix, extracts the C++ example
# from the README, builds it as an outside project with find_package and runs it.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGV}\n${out}\n${err}")
    endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)

file(READ ${SOURCE_DIR}/README.md readme)
string(REGEX MATCH "<!-- example -->[^`]*```cpp\n([^`]*)```" found "${readme}")
if(NOT found)
    message(FATAL_ERROR "README.md has no ```cpp block after <!-- example -->")
endif()
file(WRITE ${WORK_DIR}/example.cpp "${CMAKE_MATCH_1}")

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DEXAMPLE_SOURCE=${WORK_DIR}/example.cpp)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# The pkg-config file names the installed libraries.
file(READ ${WORK_DIR}/prefix/lib/pkgconfig/zelkov-trimesh.pc pc)
if(NOT pc MATCHES "-lZelkov.Trimesh.Core")
    message(FATAL_ERROR "zelkov-trimesh.pc does not link Zelkov.Trimesh.Core")
endif()
