# The page's files, built into the program: made of page/ with npm, or ready-made ones. Sets
# KT_BUILT_IN_PAGE to the source that has them, or has none where they can not be made, and the global
# property KT_PAGE_LICENCES to the text of the licences of what is in them.
set(KT_PAGE_FILES "" CACHE PATH "A folder with the page's files, ready-made")
find_program(KT_NODE node)
find_program(KT_NPM npm)
set(page ${PROJECT_SOURCE_DIR}/page)
set(KT_BUILT_IN_PAGE ${CMAKE_CURRENT_SOURCE_DIR}/page/built_in_page.cpp)

if(KT_PAGE_FILES)
  set(page_folder ${KT_PAGE_FILES})
elseif(KT_NODE AND KT_NPM AND EXISTS ${page}/package-lock.json)
  set(page_folder ${PROJECT_BINARY_DIR}/page)
else()
  message(STATUS "Without node and npm the program is built without its page")
  set(KT_BUILT_IN_PAGE ${CMAKE_CURRENT_SOURCE_DIR}/page/no_built_in_page.cpp)
  return()
endif()

set(page_files index.html page.js page.css licences.txt)
list(TRANSFORM page_files PREPEND ${page_folder}/)
set_source_files_properties(${KT_BUILT_IN_PAGE} PROPERTIES
  OBJECT_DEPENDS "${page_files}" COMPILE_DEFINITIONS KT_PAGE_FOLDER="${page_folder}")
set_property(GLOBAL PROPERTY KT_PAGE_LICENCES ${page_folder}/licences.txt)
if(KT_PAGE_FILES)
  return()
endif()

set(page_libraries ${page}/node_modules/.got-package-lock.json)
add_custom_command(OUTPUT ${page_libraries}
  COMMAND ${CMAKE_COMMAND} -D NPM=${KT_NPM} -D GOT=${page_libraries}
    -P ${PROJECT_SOURCE_DIR}/cmake/page-libraries.cmake
  DEPENDS ${page}/package-lock.json COMMENT "Getting the page's libraries" VERBATIM)
file(GLOB_RECURSE page_sources CONFIGURE_DEPENDS ${page}/src/*)
add_custom_command(OUTPUT ${page_files}
  COMMAND ${KT_NODE} build.mjs ${page_folder}
  DEPENDS ${page}/build.mjs ${page_libraries} ${page_sources}
  WORKING_DIRECTORY ${page} COMMENT "Building the page" VERBATIM)
