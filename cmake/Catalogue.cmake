# Makes the catalogue: what the tags and comments of the schemas say, as data and
# as a header.

# zorvik_generate_catalogue(DESCRIPTOR_SET <file> SCHEMAS <file>...
#                           OUTPUT_VARIABLE <v> HEADER_VARIABLE <v>)
#
# Sets the variables to the data and to the header that are made, and adds the
# target ZorvikPBProto_catalogue for all of them.
function(zorvik_generate_catalogue)
  cmake_parse_arguments(PARSE_ARGV 0 arg ""
    "DESCRIPTOR_SET;OUTPUT_VARIABLE;HEADER_VARIABLE" "SCHEMAS")
  add_subdirectory(tools/catalogue)
  if(CMAKE_CROSSCOMPILING)
    # The generator runs here and not on the target.
    include(ExternalProject)
    set(build_dir ${PROJECT_BINARY_DIR}/catalogue-generator)
    set(generator ${build_dir}/protoc-gen-zorvik)
    ExternalProject_Add(ZorvikPBProto_catalogue_generator
      SOURCE_DIR ${PROJECT_SOURCE_DIR}/tools/catalogue
      BINARY_DIR ${build_dir}
      # The flags in the environment are for the target.
      CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS= -DCMAKE_EXE_LINKER_FLAGS=
        -DProtobuf_PROTOC_EXECUTABLE=${Protobuf_PROTOC_EXECUTABLE}
      BUILD_ALWAYS TRUE
      BUILD_BYPRODUCTS ${generator}
      INSTALL_COMMAND "")
    set(plugin ${generator})
  else()
    set(generator protoc-gen-zorvik)
    set(plugin $<TARGET_FILE:protoc-gen-zorvik>)
  endif()

  set(out_dir ${PROJECT_BINARY_DIR}/generated)
  set(outputs ${out_dir}/catalogue.json ${out_dir}/catalogue.lua)
  set(header ${out_dir}/zorvik/pairings.h)
  add_custom_command(
    OUTPUT ${outputs} ${header}
    COMMAND ${Protobuf_PROTOC_EXECUTABLE} --descriptor_set_in=${arg_DESCRIPTOR_SET}
      --plugin=protoc-gen-zorvik=${plugin}
      --zorvik_out=version=${PROJECT_VERSION}:${out_dir} ${arg_SCHEMAS}
    DEPENDS ${arg_DESCRIPTOR_SET} ${generator}
    COMMENT "Generating catalogue.json"
    VERBATIM)
  add_custom_target(ZorvikPBProto_catalogue ALL DEPENDS ${outputs} ${header})
  add_dependencies(ZorvikPBProto_catalogue ZorvikPBProto_descriptors)
  set(${arg_OUTPUT_VARIABLE} ${outputs} PARENT_SCOPE)
  set(${arg_HEADER_VARIABLE} ${header} PARENT_SCOPE)
endfunction()
