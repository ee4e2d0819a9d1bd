# Applied to every target of ours through parvel_target_defaults().
set(PARVEL_WARNINGS
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wcast-align -Wconversion -Wimplicit-fallthrough
  -Wmisleading-indentation -Wduplicated-cond -Wlogical-op)

function(parvel_target_defaults target)
  target_compile_options(${target} PRIVATE ${PARVEL_WARNINGS})
  if(PARVEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(PARVEL_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
