# tarsin_room(name sources...): one static library per room of src/.
# Includes are written from src/ ("ndi/wire/frame.h"), so a reader sees the room at once.
function(tarsin_room name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE tarsin_warnings)
endfunction()

# tarsin_test(name SOURCES a.cpp... LIBS lib... [LABELS l...] [TIMEOUT s] [LAUNCH cmd...])
# One GoogleTest program and its ctest entry. LAUNCH is put in front of the program (a virtual
# display, a private network).
function(tarsin_test name)
    cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS;LAUNCH" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE tarsin_warnings ${T_LIBS})
    add_test(NAME ${name}
        COMMAND ${T_LAUNCH} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${name}>)
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}")
endfunction()
