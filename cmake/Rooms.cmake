# A room of the programs: a folder whose sources make one static library, room-NAME.
#   add_room(NAME SOURCES SOURCE... [PUBLIC LIBRARY...] [PRIVATE LIBRARY...])
# PUBLIC: libraries whose headers its own headers include.
function(add_room name)
  cmake_parse_arguments(PARSE_ARGV 1 room "" "" "SOURCES;PUBLIC;PRIVATE")
  add_library(room-${name} STATIC ${room_SOURCES})
  target_include_directories(room-${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(room-${name}
    PUBLIC tl::expected ${room_PUBLIC}
    PRIVATE ${room_PRIVATE} moxsupply-formatting moxsupply-warnings)
endfunction()
