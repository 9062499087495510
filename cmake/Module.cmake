# The shared module: what a print filter loads.

# Compiled once, for the module and for the tests that look inside it. Each room adds its sources.
add_library(moxsupply-objects OBJECT)
target_include_directories(moxsupply-objects PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(moxsupply-objects
  PUBLIC Cups::Cups
  PRIVATE moxsupply-warnings utf8::cpp)
set_target_properties(moxsupply-objects PROPERTIES POSITION_INDEPENDENT_CODE ON)

foreach(room IN ITEMS values channel npa front resources)
  add_subdirectory(${room})
endforeach()

set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
add_library(libmoxsupply SHARED)
add_library(moxsupply::moxsupply ALIAS libmoxsupply)
target_link_libraries(libmoxsupply PRIVATE moxsupply-objects)
target_link_options(libmoxsupply PRIVATE
  "LINKER:--version-script=${exports}" "LINKER:--as-needed")
if(NOT MOXSUPPLY_SANITIZERS)  # their runtime is in the program, not in the module
  target_link_options(libmoxsupply PRIVATE "LINKER:--no-undefined")
endif()
target_include_directories(libmoxsupply PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/moxsupply>)
target_compile_features(libmoxsupply PUBLIC cxx_std_20)
set_target_properties(libmoxsupply PROPERTIES
  OUTPUT_NAME moxsupply
  EXPORT_NAME moxsupply
  VERSION "${PROJECT_VERSION}"
  SOVERSION "${PROJECT_VERSION_MAJOR}"
  INSTALL_RPATH ""
  LINK_DEPENDS "${exports}")

install(TARGETS libmoxsupply EXPORT moxsupply
  LIBRARY COMPONENT module NAMELINK_COMPONENT development)
install(EXPORT moxsupply NAMESPACE moxsupply:: FILE moxsupplyConfig.cmake
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/moxsupply" COMPONENT development)
write_basic_package_version_file(moxsupplyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/moxsupply.pc.in moxsupply.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/moxsupplyConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/moxsupply" COMPONENT development)
install(FILES "${PROJECT_BINARY_DIR}/moxsupply.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
