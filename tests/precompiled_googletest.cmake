# precompile_googletest(TARGET): with PRECOMPILE_GOOGLETEST the target reads GoogleTest's headers as they were
# compiled once for all; they are a third of the time that its sources take.

if(PRECOMPILE_GOOGLETEST)
  file(WRITE "${CMAKE_BINARY_DIR}/googletest_headers.cpp" "")
  add_library(googletest_headers OBJECT "${CMAKE_BINARY_DIR}/googletest_headers.cpp")
  target_link_libraries(googletest_headers PRIVATE dns_proxy_flags GTest::gmock GTest::gtest)
  target_precompile_headers(googletest_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endif()

# What ccache needs to know its way with such headers.
function(precompiled_for_ccache TARGET)
  target_compile_options(${TARGET} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()

function(precompile_googletest TARGET)
  if(PRECOMPILE_GOOGLETEST)
    target_precompile_headers(${TARGET} REUSE_FROM googletest_headers)
    precompiled_for_ccache(${TARGET})
  endif()
endfunction()
if(TARGET googletest_headers)
  precompiled_for_ccache(googletest_headers)
endif()
