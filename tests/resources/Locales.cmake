# Real locales for the tests of the localized names and messages, so that the machine need not have them: those
# of countries with and without a catalog of their own, of a language without one, and of charsets
# that are not UTF-8.
find_program(LOCALEDEF_EXECUTABLE localedef REQUIRED)

set(test_locales_folder "${CMAKE_CURRENT_BINARY_DIR}/locales")
set(made)
string(TOLOWER "--${CMAKE_CXX_BYTE_ORDER}" byte_order)
string(REPLACE "_" "-" byte_order "${byte_order}")  # --little-endian or --big-endian
foreach(locale
    C.UTF-8 de_AT.UTF-8 de_DE.UTF-8 de_DE.ISO-8859-1 en_GB.UTF-8 es_ES.UTF-8 fr_FR.UTF-8
    is_IS.UTF-8 ja_JP.UTF-8 pt_BR.UTF-8 pt_PT.UTF-8 ru_RU.UTF-8 ru_RU.ISO-8859-5 ru_RU.KOI8-R sv_SE.ISO-8859-1 zh_CN.UTF-8
    zh_TW.UTF-8 zh_TW.BIG5)
  string(REGEX MATCH "^([^.]+)[.](.+)$" parts "${locale}")
  set(language "${CMAKE_MATCH_1}")
  set(charset "${CMAKE_MATCH_2}")
  # Without the alphabet's order, at which no test looks, and which takes most of the time.
  file(READ "/usr/share/i18n/locales/${language}" definition)
  string(REGEX REPLACE "\nLC_COLLATE.*\nEND LC_COLLATE"
    "\nLC_COLLATE\ncodepoint_collation\nEND LC_COLLATE" definition "${definition}")
  set(source "${CMAKE_CURRENT_BINARY_DIR}/locale-sources/${language}")
  file(CONFIGURE OUTPUT "${source}" CONTENT "${definition}" @ONLY)
  set(file "${test_locales_folder}/${locale}/LC_MESSAGES/SYS_LC_MESSAGES")
  add_custom_command(
    OUTPUT "${file}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${test_locales_folder}"
    COMMAND "${LOCALEDEF_EXECUTABLE}" ${byte_order} -i "${source}" -f "${charset}"
            "${test_locales_folder}/${locale}"
    DEPENDS "${source}" VERBATIM)
  list(APPEND made "${file}")
endforeach()
add_custom_target(test-locales DEPENDS ${made})
