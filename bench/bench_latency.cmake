# The latency from the screen to a receiver. whole-program.sh uses the scene player.
if(TARGET test_display)
    add_executable(bench_latency bench_latency.cpp)
    target_include_directories(bench_latency PRIVATE ${CMAKE_SOURCE_DIR}/src
                                                     ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(bench_latency PRIVATE tarsin_warnings sender test_display test_receiver)
endif()
# 3840x2160 at 60 fps.
add_executable(bench_uhd bench_uhd.cpp scenes.cpp)
target_include_directories(bench_uhd PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(bench_uhd PRIVATE tarsin_warnings ndi test_receiver)
add_executable(sceneplayer sceneplayer.cpp scenes.cpp)
target_include_directories(sceneplayer PRIVATE ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(sceneplayer PRIVATE tarsin_warnings Qt5::Widgets)
