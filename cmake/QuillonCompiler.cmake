# Warnings and sanitizers shared by every target of the project.

function(quillon_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual
                                           -Wnull-dereference -Wimplicit-fallthrough)
  if(QUILLON_SANITIZE STREQUAL "thread")
    # GCC 12 reports null dereferences inside libstdc++'s inlined string moves once ThreadSanitizer
    # instruments them; the other builds keep the warning.
    target_compile_options(${target} PRIVATE -Wno-null-dereference)
  endif()
  if(QUILLON_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# QUILLON_SANITIZE: `thread` builds with ThreadSanitizer; any other true value (ON, `address`)
# with AddressSanitizer and UndefinedBehaviorSanitizer.
if(QUILLON_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(QUILLON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
