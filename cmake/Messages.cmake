# A library of the classes that protoc generates from a .proto file of the project, as a sender's build would have them.
function(drovan_messages target proto)
  find_program(PROTOC protoc REQUIRED)
  set(generated ${CMAKE_CURRENT_BINARY_DIR}/generated)
  string(REGEX REPLACE "\\.proto$" ".pb" stem ${generated}/${proto})
  file(MAKE_DIRECTORY ${generated})
  add_custom_command(OUTPUT ${stem}.cc ${stem}.h
    COMMAND ${PROTOC} --proto_path=${PROJECT_SOURCE_DIR} --cpp_out=${generated} ${proto}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} DEPENDS ${PROJECT_SOURCE_DIR}/${proto} VERBATIM)
  add_library(${target} STATIC ${stem}.cc ${stem}.h)
  target_include_directories(${target} SYSTEM PUBLIC ${generated})
  target_compile_options(${target} PRIVATE -w)
  target_link_libraries(${target} PUBLIC protobuf::libprotobuf)
endfunction()
