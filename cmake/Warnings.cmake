# Applied to every target of ours through parvel_target_defaults(). Our value types give every
# member a default, so leaving members out of a (designated) initializer is deliberate and
# -Wmissing-field-initializers would only add noise.
set(PARVEL_WARNINGS
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wcast-align -Wconversion -Wimplicit-fallthrough
  -Wmisleading-indentation -Wduplicated-cond -Wlogical-op -Wno-missing-field-initializers)

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
