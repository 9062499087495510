# Sanitizers for everything that is built, as the compiler's -fsanitize takes them.
set(MOXSUPPLY_SANITIZERS "" CACHE STRING "Sanitizers to build with: address,undefined")
if(MOXSUPPLY_SANITIZERS)
  add_compile_options(-fsanitize=${MOXSUPPLY_SANITIZERS} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MOXSUPPLY_SANITIZERS})
endif()
