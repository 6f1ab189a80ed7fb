# join_test_sources(TARGET): with QUICK_UNIT_TESTS some of the target's own sources are compiled as one.
function(join_test_sources TARGET)
  if(QUICK_UNIT_TESTS AND NOT APPLE)  # where wrap_calls is about single sources
    set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 14)
    # Of fixtures without a name of their own, which g++ takes for a header's when it reads their source with others.
    target_compile_options(${TARGET} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
endfunction()

# What ccache needs to know its way with such headers.
function(precompiled_for_ccache TARGET)
  target_compile_options(${TARGET} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

if(QUICK_UNIT_TESTS)
  file(WRITE "${CMAKE_BINARY_DIR}/googletest_headers.cpp" "")
  add_library(googletest_headers OBJECT "${CMAKE_BINARY_DIR}/googletest_headers.cpp")
  target_link_libraries(googletest_headers PRIVATE dns_proxy_flags GTest::gmock GTest::gtest)
  target_precompile_headers(googletest_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  compile_without_optimisation(googletest_headers)
  precompiled_for_ccache(googletest_headers)
endif()

# compile_quickly(TARGET): with QUICK_UNIT_TESTS the target's own sources are compiled without optimisation, some of
# them as one, and read GoogleTest's headers as they were compiled once for all. Each of the three halves their
# time. What they test is compiled as ever.
function(compile_quickly TARGET)
  if(QUICK_UNIT_TESTS)
    target_precompile_headers(${TARGET} REUSE_FROM googletest_headers)
    compile_without_optimisation(${TARGET})
    precompiled_for_ccache(${TARGET})
    join_test_sources(${TARGET})
  endif()
endfunction()
