# The PCM converter is a set of objects of its own, so that its tests and benchmarks need nothing else.
add_library(kqplayer_pcm OBJECT ${CMAKE_CURRENT_LIST_DIR}/AudioConverter.cpp ${CMAKE_CURRENT_LIST_DIR}/AudioKernels.cpp
            ${CMAKE_CURRENT_LIST_DIR}/AudioPlain.cpp)
kq_vector_code(${CMAKE_CURRENT_LIST_DIR}/AudioKernels.cpp)
target_include_directories(kqplayer_pcm PUBLIC ${PROJECT_SOURCE_DIR}/src)
kq_leave_out(kqplayer_pcm SSSE3)
target_link_libraries(kqplayer_pcm PUBLIC kq_settings kqplayer_headers PkgConfig::HWY)
# The same samples on every processor: no fused multiplications, which round once instead of twice.
target_compile_options(kqplayer_pcm PRIVATE -ffp-contract=off)
target_sources(kqplayer_core INTERFACE $<TARGET_OBJECTS:kqplayer_pcm>)
