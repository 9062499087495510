# The localized names: one gettext catalog a language, compiled to where the module looks for them,
# moxsupply/locale beside it.
file(GLOB catalogs CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/resources/*.po")
set(compiled)
foreach(catalog IN LISTS catalogs)
  cmake_path(GET catalog STEM language)
  set(messages "${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}/moxsupply/locale/${language}/LC_MESSAGES")
  add_custom_command(
    OUTPUT "${messages}/moxsupply.mo"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${messages}"
    COMMAND "${GETTEXT_MSGFMT_EXECUTABLE}" --check -o "${messages}/moxsupply.mo" "${catalog}"
    DEPENDS "${catalog}" VERBATIM)
  list(APPEND compiled "${messages}/moxsupply.mo")
endforeach()
add_custom_target(catalogs ALL DEPENDS ${compiled})

install(DIRECTORY "${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}/moxsupply/locale"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/moxsupply" COMPONENT module)
