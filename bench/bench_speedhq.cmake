add_executable(bench_speedhq bench_speedhq.cpp libavencoder.cpp scenes.cpp)
target_include_directories(bench_speedhq PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(bench_speedhq PRIVATE
    tarsin_warnings speedhq PkgConfig::ffmpeg benchmark::benchmark)

add_executable(instructions instructions.cpp libavencoder.cpp scenes.cpp)
target_include_directories(instructions PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(instructions PRIVATE tarsin_warnings speedhq PkgConfig::ffmpeg)

add_executable(quality quality.cpp libavencoder.cpp scenes.cpp
    ${CMAKE_SOURCE_DIR}/tests/support/libavspeedhq.cpp
    ${CMAKE_SOURCE_DIR}/tests/unit/speedhq/testframes.cpp)
target_include_directories(quality PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
target_link_libraries(quality PRIVATE tarsin_warnings speedhq PkgConfig::ffmpeg)
