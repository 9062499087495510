# What people run. The programs use the module through its public headers only.

# What every program needs of the operating system.
add_library(moxsupply-system STATIC
  system/ChildProcess.cc
  system/FileDescriptor.cc
  system/Listener.cc
  system/MemoryFile.cc
  system/Pipe.cc
  system/StopSignals.cc)
target_include_directories(moxsupply-system PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(moxsupply-system PRIVATE moxsupply-formatting moxsupply-warnings)

add_library(moxsupply-formatting STATIC system/Formatting.cc)

# JSON that people write: what is wrong with it, and where.
add_library(moxsupply-json STATIC
  json/JsonDocument.cc
  json/JsonPlace.cc)
target_include_directories(moxsupply-json PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(moxsupply-json
  PUBLIC nlohmann_json::nlohmann_json
  PRIVATE moxsupply-formatting moxsupply-warnings)

# What goes over a link, as a file: of the programs and of the simulator.
add_library(moxsupply-transcript STATIC
  transcript/SerialNumbers.cc
  transcript/TranscriptReader.cc
  transcript/TranscriptWriter.cc)
target_include_directories(moxsupply-transcript PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(moxsupply-transcript PRIVATE moxsupply-warnings)

add_library(moxsupply-host STATIC
  host/BackChannelPipe.cc
  host/BackendLink.cc
  host/CaughtOutput.cc
  host/CheckCommand.cc
  host/Command.cc
  host/CommandFile.cc
  host/DecodeCommand.cc
  host/DecodedItems.cc
  host/DecodedLevels.cc
  host/DecodedQuery.cc
  host/DecodedRecord.cc
  host/DecodedReply.cc
  host/DecodedTable.cc
  host/DecodedText.cc
  host/DeviceUri.cc
  host/DisableCommand.cc
  host/DoctorCommand.cc
  host/EnableCommand.cc
  host/HarmlessText.cc
  host/LevelsCommand.cc
  host/MarkerAttributes.cc
  host/MonitoringProgram.cc
  host/OpenQueue.cc
  host/PluginLine.cc
  host/PpdEdit.cc
  host/PpdFile.cc
  host/PrintServer.cc
  host/PrinterQuery.cc
  host/ProgressLine.cc
  host/PublishedMarkers.cc
  host/Query.cc
  host/QueryWatch.cc
  host/QueueChecks.cc
  host/QueueSettings.cc
  host/QueueSupplies.cc
  host/RecordedLink.cc
  host/Recording.cc
  host/Refresh.cc
  host/RefreshCommand.cc
  host/ReplayedLink.cc
  host/ReportCommand.cc
  host/ReportJson.cc
  host/SchedulerMessage.cc
  host/ServedJob.cc
  host/ServerFolder.cc
  host/StateReasons.cc
  host/Supplies.cc
  host/SupplyQuery.cc
  host/SupplyTable.cc
  host/TcpLink.cc
  host/TerminalText.cc)
target_link_libraries(moxsupply-host
  PUBLIC moxsupply::moxsupply moxsupply-system moxsupply-transcript moxsupply-formatting nlohmann_json::nlohmann_json CLI11::CLI11
  PRIVATE Cups::Cups utf8cpp moxsupply-warnings)
target_compile_definitions(moxsupply-host PRIVATE CUPS_SERVERBIN="${MOXSUPPLY_CUPS_SERVERBIN}")

add_executable(moxsupply host/main.cc)
target_link_libraries(moxsupply PRIVATE moxsupply-host moxsupply-warnings)
target_compile_definitions(moxsupply PRIVATE MOXSUPPLY_VERSION="${PROJECT_VERSION}")
install(TARGETS moxsupply COMPONENT programs)

set(filters "${installed_serverbin}/filter")
file(RELATIVE_PATH module_from_filters "/${filters}" "/${CMAKE_INSTALL_LIBDIR}")
add_executable(commandtomox host/commandtomox.cc)
target_link_libraries(commandtomox PRIVATE moxsupply-host moxsupply-warnings)
set_target_properties(commandtomox PROPERTIES
  RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${filters}"
  INSTALL_RPATH "$ORIGIN/${module_from_filters}")
install(TARGETS commandtomox DESTINATION "${filters}" COMPONENT programs)

# Not part of the ordinary build: a test builds it as strangers would. Here it is known to the tools
# that read the list of compilations.
add_executable(example-host EXCLUDE_FROM_ALL docs/examples/host.cc)
target_link_libraries(example-host PRIVATE moxsupply::moxsupply moxsupply-warnings)
