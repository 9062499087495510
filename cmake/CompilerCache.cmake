# What has been compiled before, in this folder or in another one, comes from ccache where that is
# installed. Another launcher can be chosen, or none: -DCMAKE_CXX_COMPILER_LAUNCHER=
if(NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(CCACHE ccache)
  mark_as_advanced(CCACHE)
  if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
  endif()
endif()
