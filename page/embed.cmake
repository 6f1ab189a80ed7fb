# Writes OUTPUT, a source file with each of FILES as it is: cmake -DFILES=... -DOUTPUT=... -P embed.cmake

set(arrays "")
set(rows "")
foreach(file ${FILES})
  get_filename_component(name "${file}" NAME)
  string(MAKE_C_IDENTIFIER "${name}" identifier)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  string(APPEND arrays "const unsigned char ${identifier}[] = {\n${bytes}\n};\n\n")
  if(name STREQUAL "index.html")
    set(path "/")
    set(type "text/html; charset=utf-8")
  else()
    set(path "/${name}")
    if(name MATCHES "\\.css$")
      set(type "text/css; charset=utf-8")
    elseif(name MATCHES "\\.js$")
      set(type "text/javascript; charset=utf-8")
    else()
      set(type "image/svg+xml")
    endif()
  endif()
  string(APPEND rows "    {\"${path}\", \"${type}\", Bytes(${identifier}, sizeof(${identifier}))},\n")
endforeach()
file(WRITE "${OUTPUT}" "#include \"page/resources.h\"

namespace page {
namespace {

${arrays}std::string_view Bytes(const unsigned char* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

const Resource* FindResource(std::string_view path) {
  static const Resource kResources[] = {
${rows}  };
  for (const Resource& resource : kResources) {
    if (resource.path == path) return &resource;
  }
  return nullptr;
}

}  // namespace page
")
