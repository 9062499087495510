# The print server's folders, as CUPS itself tells them, and what a print server gets besides the
# programs: drivers, and a timer that keeps its queues' levels fresh.
execute_process(COMMAND cups-config --serverbin
  OUTPUT_VARIABLE cups_serverbin OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND cups-config --datadir
  OUTPUT_VARIABLE cups_datadir OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(MOXSUPPLY_CUPS_SERVERBIN "${cups_serverbin}" CACHE PATH
  "Where CUPS has its backends and filters")

# The same folders below our prefix as CUPS has below its own, which is that of /usr/share/cups.
cmake_path(GET cups_datadir PARENT_PATH cups_prefix)
cmake_path(GET cups_prefix PARENT_PATH cups_prefix)
cmake_path(RELATIVE_PATH cups_serverbin BASE_DIRECTORY "${cups_prefix}"
  OUTPUT_VARIABLE installed_serverbin)
cmake_path(RELATIVE_PATH cups_datadir BASE_DIRECTORY "${cups_prefix}"
  OUTPUT_VARIABLE installed_datadir)
