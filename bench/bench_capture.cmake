# The default capture path: the cost of a read, and of a still screen.
if(TARGET test_display)
    add_executable(bench_capture bench_capture.cpp)
    target_include_directories(bench_capture PRIVATE ${CMAKE_SOURCE_DIR}/src
                                                     ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(bench_capture PRIVATE tarsin_warnings sender test_display
                                                benchmark::benchmark)
endif()
