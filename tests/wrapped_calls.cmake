# wrap_calls(TARGET SYMBOL...): calls of each symbol in the target and in the proxy's own code lead to
# __wrap_SYMBOL, and __real_SYMBOL is the symbol itself. GNU ld does it; the linker of macOS cannot, so there
# the sources are compiled once more, by way of assembly in which the names are exchanged: the target's, and
# the proxy's for all targets with the same symbols.

function(add_exchanged_proxy LIBRARY SYMBOLS)
  add_library(${LIBRARY} OBJECT)
  foreach(part dns_proxy_trace dns_proxy_state dns_proxy_engine dns_proxy_startup)
    get_target_property(folder ${part} SOURCE_DIR)
    get_target_property(sources ${part} SOURCES)
    foreach(source ${sources})
      target_sources(${LIBRARY} PRIVATE "${folder}/${source}")
    endforeach()
  endforeach()
  target_link_libraries(${LIBRARY} PRIVATE dns_proxy_flags)
  set_target_properties(${LIBRARY} PROPERTIES CXX_COMPILER_LAUNCHER "${CMAKE_SOURCE_DIR}/tests/wrap_calls;${SYMBOLS}")
endfunction()

function(wrap_calls TARGET)
  if(NOT APPLE)
    foreach(symbol ${ARGN})
      target_link_options(${TARGET} PRIVATE "LINKER:--wrap=${symbol}")
    endforeach()
    return()
  endif()
  list(JOIN ARGN "," symbols)
  string(MD5 name "${symbols}")
  if(NOT TARGET exchanged_${name})
    add_exchanged_proxy(exchanged_${name} "${symbols}")
  endif()
  target_sources(${TARGET} PRIVATE $<TARGET_OBJECTS:exchanged_${name}>)
  set_target_properties(${TARGET} PROPERTIES
    CXX_COMPILER_LAUNCHER "${CMAKE_SOURCE_DIR}/tests/wrap_calls;${symbols}")
endfunction()
