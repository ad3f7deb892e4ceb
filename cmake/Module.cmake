# tarsin_module(name sources...): one static library per module of src/.
# Includes are written from src/ ("ndi/wire/message.h"), so that a reader sees the module at once.
function(tarsin_module name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(${name} PRIVATE tarsin_warnings)
endfunction()

# tarsin_platform(name WINDOWS [sources...] [LIBS libs...] LINUX [sources...] [LIBS libs...])
# The sources of a module that differ by platform, and what they alone link.
function(tarsin_platform name)
    cmake_parse_arguments(P "" "" "WINDOWS;LINUX" ${ARGN})
    if(WIN32)
        set(chosen ${P_WINDOWS})
    else()
        set(chosen ${P_LINUX})
    endif()
    cmake_parse_arguments(P "" "" "LIBS" ${chosen})
    target_sources(${name} PRIVATE ${P_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PUBLIC ${P_LIBS})
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
