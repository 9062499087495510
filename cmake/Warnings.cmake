# Every target of the project links this. Warnings are errors in our own builds; a packager may
# switch that off, since a newer compiler finds more.
option(MOXSUPPLY_WARNINGS_ARE_ERRORS "Stop at the first warning" ON)

add_library(moxsupply-warnings INTERFACE)
target_compile_options(moxsupply-warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wdouble-promotion -Wformat=2
  -Wundef -Wunused
  $<$<BOOL:${MOXSUPPLY_WARNINGS_ARE_ERRORS}>:-Werror>)
