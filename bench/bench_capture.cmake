# The default capture path: what a fetch costs, and what a screen costs on which nothing happens.
if(TARGET test_display)
    add_executable(bench_capture bench_capture.cpp)
    target_include_directories(bench_capture PRIVATE ${CMAKE_SOURCE_DIR}/src
                                                     ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(bench_capture PRIVATE tarsin_warnings sender test_display
                                                benchmark::benchmark)
endif()
