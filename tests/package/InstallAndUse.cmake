# Installs `build` below `scratch`, moves what was installed elsewhere, as a package would be, and
# builds and runs the consumer against it.
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
        ERROR_VARIABLE errors)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${result}:\n${output}${errors}")
    endif()
    set(output ${output} PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${scratch})
run(${CMAKE_COMMAND} --install ${build} --prefix ${scratch}/staged)
file(RENAME ${scratch}/staged ${scratch}/prefix)

run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${scratch}/consumer -G ${generator}
    -D CMAKE_PREFIX_PATH=${scratch}/prefix -D CMAKE_CXX_COMPILER=${compiler}
    -D "CMAKE_CXX_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${scratch}/consumer)
run(${scratch}/consumer/two_pipes)

set(expected "game: assets: read\ntool: assets: ok, three vertices\n"
    "game: stats: read\ntool: stats: ok, 60 frames/s\n")
string(CONCAT expected ${expected})
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "two_pipes printed:\n${output}instead of:\n${expected}")
endif()
