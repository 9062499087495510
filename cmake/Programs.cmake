# What people run. The programs use the module through its public headers only.

# What every program needs of the operating system.
add_library(moxsupply-system STATIC
  system/FileDescriptor.cc)
target_include_directories(moxsupply-system PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(moxsupply-system PRIVATE moxsupply-warnings)

add_library(moxsupply-host STATIC
  host/Query.cc
  host/ReportCommand.cc
  host/ReportJson.cc)
target_link_libraries(moxsupply-host
  PUBLIC moxsupply::moxsupply moxsupply-system fmt::fmt nlohmann_json::nlohmann_json CLI11::CLI11
  PRIVATE moxsupply-warnings)

add_executable(moxsupply host/main.cc)
target_link_libraries(moxsupply PRIVATE moxsupply-host moxsupply-warnings)
target_compile_definitions(moxsupply PRIVATE MOXSUPPLY_VERSION="${PROJECT_VERSION}")
install(TARGETS moxsupply COMPONENT programs)
