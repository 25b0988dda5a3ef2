# Debian packages of the components: "cmake --preset package", then
# "cmake --build --preset package --target package".

# kt_describe_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION)
macro(kt_describe_package component name section summary description)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
endmacro()

set(CPACK_COMPONENTS_ALL)
kt_describe_package(library libktformula9-0 libs "calculated columns for tables, shared library"
  "Tables whose columns have formulas, with units and significant digits, for programs in C and C++.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

kt_describe_package(development libktformula9-dev libdevel
  "calculated columns for tables, development files"
  "Headers, static libraries, CMake and pkg-config files, pages and examples of KtFormula9.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libktformula9-0 (= ${PROJECT_VERSION})")

if(KT_NOTEBOOK)
  kt_describe_package(program ktnotebook science "calculated columns for laboratory notebooks"
    "Recalculates, checks and explains notebooks, CSV files and notebooks kept in databases, and shows them in the browser.")
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
endif()

if(python_modules)
  kt_describe_package(python python3-ktformula9 python "calculated columns for tables, for Python"
    "Tables with formulas in Python, to and from pandas.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, libktformula9-0 (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-pandas)
  # What Python compiles for itself comes and goes with the package.
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/python/postinst ${CMAKE_CURRENT_SOURCE_DIR}/python/prerm)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_NAME ktformula9)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "KtFormula9 <ktformula9@localhost>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
