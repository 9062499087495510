# Sanitizers for everything that is built, as the compiler's -fsanitize takes them.
set(MOXSUPPLY_SANITIZERS "" CACHE STRING "Sanitizers to build with: address,undefined")
if(MOXSUPPLY_SANITIZERS)
  add_compile_options(-fsanitize=${MOXSUPPLY_SANITIZERS} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MOXSUPPLY_SANITIZERS})
  # A subscript or a part of a span beyond its end stops the program, also where the bytes behind
  # it belong to the same buffer and no sanitizer sees it.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
