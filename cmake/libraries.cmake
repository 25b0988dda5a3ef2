# How the libraries are made: rooms as libraries of objects, and public libraries made of rooms.
include(GNUInstallDirs)

# Consumers that take the sources into their own build get no warnings of our headers either.
set(KT_SYSTEM_HEADERS "")
if(NOT PROJECT_IS_TOP_LEVEL)
  set(KT_SYSTEM_HEADERS SYSTEM)
endif()

# kt_add_room(NAME SOURCE...): objects that static and shared libraries share. So they may go to any
# address, and show nothing but what says that it wants to be seen.
function(kt_add_room name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PUBLIC kt_options)
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# kt_add_public_library(NAME STATIC|SHARED NAME_FOR_OTHERS ROOM...): a library for other projects,
# which know it as KtFormula9::NAME_FOR_OTHERS, in whatever way they come by it.
function(kt_add_public_library name kind name_for_others)
  list(TRANSFORM ARGN REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  add_library(${name} ${kind} ${objects})
  add_library(KtFormula9::${name_for_others} ALIAS ${name})
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${name_for_others} LINKER_LANGUAGE CXX)
  target_compile_features(${name} INTERFACE cxx_std_20)
  target_include_directories(${name} ${KT_SYSTEM_HEADERS} INTERFACE
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src;${PROJECT_SOURCE_DIR}/src/engine>"
    "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ktformula9>")
endfunction()

# The headers that others include by their plain names stand in their rooms.
function(kt_lead_to_header path)
  cmake_path(GET path FILENAME file)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/include/${file} CONTENT "#include \"${path}\"\n")
endfunction()
