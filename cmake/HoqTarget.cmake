# hoq_target(TARGET): what every target of our own is compiled with. Warnings are errors.
function(hoq_target target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Werror)
  if(HOQ_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${HOQ_SANITIZE} -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${HOQ_SANITIZE})
  endif()
endfunction()
