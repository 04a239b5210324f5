# Runs the protobuf compiler over proto/: one generated module per schema, and
# one descriptor set of all of them.

# zorvik_generate_modules(SCHEMAS <file>... SOURCES_VARIABLE <v>
#                         HEADERS_VARIABLE <v> DESCRIPTOR_SET_VARIABLE <v>)
#
# The sources come in file-name order. The linker keeps that order among the
# initialisers of equal priority, so it is the order of registration at load.
#
# ZorvikPBProto_headers and ZorvikPBProto_descriptors are the targets that make
# the headers and the descriptor set without compiling anything.
function(zorvik_generate_modules)
  cmake_parse_arguments(PARSE_ARGV 0 arg ""
    "SOURCES_VARIABLE;HEADERS_VARIABLE;DESCRIPTOR_SET_VARIABLE" "SCHEMAS")
  list(SORT arg_SCHEMAS)

  set(schema_dir ${PROJECT_SOURCE_DIR}/proto)
  set(out_dir ${PROJECT_BINARY_DIR}/generated)
  file(MAKE_DIRECTORY ${out_dir})
  set(run ${PROJECT_SOURCE_DIR}/cmake/RunProtoc.cmake)
  set(protoc ${CMAKE_COMMAND} -P ${run} --
    ${Protobuf_PROTOC_EXECUTABLE} -I${schema_dir} -I${Protobuf_INCLUDE_DIR})
  set(tools ${run} ${Protobuf_PROTOC_EXECUTABLE})

  foreach(schema IN LISTS arg_SCHEMAS)
    cmake_path(REMOVE_EXTENSION schema OUTPUT_VARIABLE stem)
    set(module ${out_dir}/${stem}.pb)
    # The compiler itself writes down what a schema imports.
    add_custom_command(
      OUTPUT ${module}.cc ${module}.h
      COMMAND ${protoc} --cpp_out=${out_dir} --dependency_out=${module}.d ${schema}
      DEPENDS ${schema_dir}/${schema} ${tools}
      DEPFILE ${module}.d
      COMMENT "Generating ${stem}.pb.cc"
      VERBATIM)
    list(APPEND paths ${schema_dir}/${schema})
    list(APPEND sources ${module}.cc)
    list(APPEND headers ${module}.h)
  endforeach()

  set(descriptor_set ${out_dir}/ZorvikPBProto.binpb)
  add_custom_command(
    OUTPUT ${descriptor_set}
    COMMAND ${protoc} --include_imports --include_source_info
      --descriptor_set_out=${descriptor_set} ${arg_SCHEMAS}
    DEPENDS ${paths} ${tools}
    COMMENT "Generating ZorvikPBProto.binpb"
    VERBATIM)

  # The library depends on both, so that no file has two targets which make it at
  # the same time.
  add_custom_target(ZorvikPBProto_headers DEPENDS ${headers})
  add_custom_target(ZorvikPBProto_descriptors DEPENDS ${descriptor_set})

  set(${arg_SOURCES_VARIABLE} ${sources} PARENT_SCOPE)
  set(${arg_HEADERS_VARIABLE} ${headers} PARENT_SCOPE)
  set(${arg_DESCRIPTOR_SET_VARIABLE} ${descriptor_set} PARENT_SCOPE)
endfunction()
