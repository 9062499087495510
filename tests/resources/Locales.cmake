# Real locales for the tests of the localized names, so that the machine need not have them: those
# of countries with and without a catalog of their own, of a language without one, and of charsets
# that are not UTF-8.
find_program(LOCALEDEF_EXECUTABLE localedef REQUIRED)

set(test_locales_folder "${CMAKE_CURRENT_BINARY_DIR}/locales")
set(made)
foreach(locale
    C.UTF-8 de_AT.UTF-8 de_DE.UTF-8 de_DE.ISO-8859-1 en_GB.UTF-8 is_IS.UTF-8 pt_BR.UTF-8
    pt_PT.UTF-8 ru_RU.UTF-8 ru_RU.ISO-8859-5 ru_RU.KOI8-R sv_SE.ISO-8859-1 zh_CN.UTF-8
    zh_TW.UTF-8 zh_TW.BIG5)
  string(REGEX MATCH "^([^.]+)[.](.+)$" parts "${locale}")
  set(file "${test_locales_folder}/${locale}/LC_MESSAGES/SYS_LC_MESSAGES")
  add_custom_command(
    OUTPUT "${file}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${test_locales_folder}"
    COMMAND "${LOCALEDEF_EXECUTABLE}" -i "${CMAKE_MATCH_1}" -f "${CMAKE_MATCH_2}"
            "${test_locales_folder}/${locale}"
    VERBATIM)
  list(APPEND made "${file}")
endforeach()
add_custom_target(test-locales DEPENDS ${made})
