# What only monitoring needs: `moxsupply` becomes this program for it, and starts quickly for the
# rest. (The library's own CMake package asks for what only its parts for HTTP need.)
find_package(PkgConfig REQUIRED)
pkg_check_modules(prometheus-cpp REQUIRED IMPORTED_TARGET prometheus-cpp-core)
pkg_check_modules(cpp-httplib REQUIRED IMPORTED_TARGET cpp-httplib)

add_library(moxsupply-metrics STATIC
  monitoring/LevelsAsMetrics.cc
  monitoring/SupplyMetrics.cc)
target_link_libraries(moxsupply-metrics
  PUBLIC moxsupply-host PkgConfig::prometheus-cpp
  PRIVATE moxsupply-warnings)

# The exporter, all but its arguments.
add_library(moxsupply-exporter STATIC
  monitoring/EventLoop.cc
  monitoring/Exporter.cc
  monitoring/ExporterMetrics.cc
  monitoring/LevelQueries.cc
  monitoring/ListFile.cc
  monitoring/Page.cc
  monitoring/PageStyle.cc
  monitoring/PrinterList.cc
  monitoring/Prober.cc
  monitoring/QueryResult.cc
  monitoring/Site.cc
  monitoring/WebServer.cc)
target_link_libraries(moxsupply-exporter
  PUBLIC moxsupply-metrics moxsupply-json PkgConfig::cpp-httplib
  PRIVATE moxsupply-warnings)
target_compile_definitions(moxsupply-exporter PRIVATE MOXSUPPLY_VERSION="${PROJECT_VERSION}")

set(libexec "${CMAKE_INSTALL_LIBEXECDIR}/moxsupply")
file(RELATIVE_PATH module_from_libexec "/${libexec}" "/${CMAKE_INSTALL_LIBDIR}")
file(RELATIVE_PATH programs_from_libexec "/${libexec}" "/${CMAKE_INSTALL_BINDIR}")
add_executable(moxsupply-monitoring monitoring/ExporterCommand.cc monitoring/main.cc)
target_link_libraries(moxsupply-monitoring
  PRIVATE moxsupply-exporter moxsupply-metrics moxsupply-warnings)
target_compile_definitions(moxsupply-monitoring PRIVATE
  MOXSUPPLY_VERSION="${PROJECT_VERSION}"
  PROGRAMS_FROM_MONITORING="${programs_from_libexec}")
set_target_properties(moxsupply-monitoring PROPERTIES
  RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${libexec}"
  INSTALL_RPATH "$ORIGIN/${module_from_libexec}")
install(TARGETS moxsupply-monitoring DESTINATION "${libexec}" COMPONENT monitoring)

file(RELATIVE_PATH monitoring_from_programs
  "/${CMAKE_INSTALL_BINDIR}" "/${libexec}/moxsupply-monitoring")
set_property(SOURCE host/MonitoringProgram.cc APPEND PROPERTY
  COMPILE_DEFINITIONS MONITORING_FROM_PROGRAMS="${monitoring_from_programs}")

configure_file(packaging/systemd/moxsupply-exporter.service.in moxsupply-exporter.service @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/moxsupply-exporter.service"
  DESTINATION "${MOXSUPPLY_SYSTEMD_UNITS}" COMPONENT monitoring)
