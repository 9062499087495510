# `moxsupply simulate`: a printer for trying things out. It is the other end of the wire and shares
# nothing with the module.
add_library(moxsupply-simulator STATIC
  simulator/Answer.cc
  simulator/ChildCommand.cc
  simulator/Connection.cc
  simulator/Disturbance.cc
  simulator/Faults.cc
  simulator/InkjetModelFile.cc
  simulator/InkjetReply.cc
  simulator/LaserModelFile.cc
  simulator/LaserReply.cc
  simulator/ModelFile.cc
  simulator/Packets.cc
  simulator/Printer.cc
  simulator/Replay.cc
  simulator/Requests.cc
  simulator/Server.cc
  simulator/ShippedModels.cc
  simulator/WireWriter.cc)
target_link_libraries(moxsupply-simulator
  PUBLIC moxsupply-system moxsupply-json moxsupply-transcript moxsupply-formatting
  PRIVATE moxsupply-warnings)

target_sources(moxsupply PRIVATE host/SimulateCommand.cc)
target_link_libraries(moxsupply PRIVATE moxsupply-simulator)

# The models lie where the program looks for them, ../share/moxsupply/models beside it.
file(GLOB models CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/simulator/models/*.json")
set(copies)
foreach(model IN LISTS models)
  cmake_path(GET model FILENAME name)
  set(copy "${PROJECT_BINARY_DIR}/share/moxsupply/models/${name}")
  add_custom_command(
    OUTPUT "${copy}"
    COMMAND "${CMAKE_COMMAND}" -E copy "${model}" "${copy}"
    DEPENDS "${model}" VERBATIM)
  list(APPEND copies "${copy}")
endforeach()
add_custom_target(models ALL DEPENDS ${copies})

install(FILES ${models} DESTINATION "${CMAKE_INSTALL_DATADIR}/moxsupply/models" COMPONENT programs)
