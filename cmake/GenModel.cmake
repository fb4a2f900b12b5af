# gen_add_model(<name> DIRECTORY <dir> [EXECUTABLE <exe>])
# gen_add_model(<name> FILE <model-file> [EXECUTABLE <exe>])
#
# Builds one model's generated classes into the library gen_model_<name> and
# links them with the driver and the framework into the executable <exe>, which
# defaults to gen-<name>, and the same classes with the simulator into
# <exe>-sim (gen-sim for the shipped model gen). DIRECTORY takes hand-written classes (every .cpp in
# <dir>); FILE takes a model file, which gen-compile turns into the classes at
# build time, into <build>/models/<name>/ (again whenever the file or the
# compiler changes). A relative path is taken from the calling CMakeLists.
function(gen_add_model name)
    cmake_parse_arguments(MODEL "" "DIRECTORY;FILE;EXECUTABLE" "" ${ARGN})
    if(NOT MODEL_DIRECTORY AND NOT MODEL_FILE)
        message(FATAL_ERROR "gen_add_model(${name}): DIRECTORY or FILE is required")
    endif()
    if(NOT MODEL_EXECUTABLE)
        set(MODEL_EXECUTABLE gen-${name})
    endif()
    if(MODEL_FILE)
        get_filename_component(model_file "${MODEL_FILE}" ABSOLUTE
                               BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
        set(generated ${CMAKE_BINARY_DIR}/models/${name})
        add_custom_command(
            OUTPUT ${generated}/GeneratedModel.cpp
            COMMAND gen-compile -o ${generated} ${model_file}
            DEPENDS ${model_file} gen-compile
            COMMENT "Compiling the model file ${MODEL_FILE}"
            VERBATIM)
        add_library(gen_model_${name} STATIC ${generated}/GeneratedModel.cpp)
        target_include_directories(gen_model_${name} PUBLIC ${generated})
    else()
        file(GLOB model_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${MODEL_DIRECTORY}/*.cpp)
        add_library(gen_model_${name} STATIC ${model_sources})
        target_include_directories(gen_model_${name} PUBLIC ${CMAKE_SOURCE_DIR}/${MODEL_DIRECTORY})
    endif()
    target_link_libraries(gen_model_${name} PUBLIC genframework)
    add_executable(${MODEL_EXECUTABLE} ${CMAKE_SOURCE_DIR}/src/main/main.cpp)
    target_link_libraries(${MODEL_EXECUTABLE} PRIVATE gendriver gen_model_${name})
    # With MPI, the executable explores over the processes mpirun starts.
    if(TARGET gendistributed)
        target_link_libraries(${MODEL_EXECUTABLE} PRIVATE gendistributed)
        target_compile_definitions(${MODEL_EXECUTABLE} PRIVATE GEN_DISTRIBUTED)
    endif()
    add_executable(${MODEL_EXECUTABLE}-sim ${CMAKE_SOURCE_DIR}/simulator/gen-sim.cpp)
    target_link_libraries(${MODEL_EXECUTABLE}-sim PRIVATE gensim gen_model_${name})
endfunction()
