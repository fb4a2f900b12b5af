# gen_add_model(<name> DIRECTORY <dir> [EXECUTABLE <exe>])
#
# Builds one model's generated classes (every .cpp in <dir>) into the library
# gen_model_<name> and links them with the driver and the framework into the
# executable <exe>, which defaults to gen-<name>.
function(gen_add_model name)
    cmake_parse_arguments(MODEL "" "DIRECTORY;EXECUTABLE" "" ${ARGN})
    if(NOT MODEL_DIRECTORY)
        message(FATAL_ERROR "gen_add_model(${name}): DIRECTORY is required")
    endif()
    if(NOT MODEL_EXECUTABLE)
        set(MODEL_EXECUTABLE gen-${name})
    endif()
    file(GLOB model_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${MODEL_DIRECTORY}/*.cpp)
    add_library(gen_model_${name} STATIC ${model_sources})
    target_include_directories(gen_model_${name} PUBLIC ${CMAKE_SOURCE_DIR}/${MODEL_DIRECTORY})
    target_link_libraries(gen_model_${name} PUBLIC genframework)
    add_executable(${MODEL_EXECUTABLE} ${CMAKE_SOURCE_DIR}/src/main/main.cpp)
    target_link_libraries(${MODEL_EXECUTABLE} PRIVATE gendriver gen_model_${name})
endfunction()
