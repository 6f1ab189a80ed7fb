# wrap_calls(TARGET SYMBOL...): calls of each symbol in the target and in the proxy's own code lead to
# __wrap_SYMBOL, and __real_SYMBOL is the symbol itself. GNU ld does it; the linker of macOS cannot, so there
# the sources are compiled once more for the target, by way of assembly in which the names are exchanged.

function(add_library_sources TARGET)
  foreach(library dns_proxy_trace dns_proxy_state dns_proxy_engine dns_proxy_startup)
    get_target_property(folder ${library} SOURCE_DIR)
    get_target_property(sources ${library} SOURCES)
    foreach(source ${sources})
      target_sources(${TARGET} PRIVATE "${folder}/${source}")
    endforeach()
  endforeach()
endfunction()

function(wrap_calls TARGET)
  if(NOT APPLE)
    foreach(symbol ${ARGN})
      target_link_options(${TARGET} PRIVATE "LINKER:--wrap=${symbol}")
    endforeach()
    return()
  endif()
  add_library_sources(${TARGET})
  list(JOIN ARGN "," symbols)
  set_target_properties(${TARGET} PROPERTIES
    CXX_COMPILER_LAUNCHER "${CMAKE_SOURCE_DIR}/tests/wrap_calls;${symbols}")
endfunction()
