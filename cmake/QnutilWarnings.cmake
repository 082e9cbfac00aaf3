# Warnings as errors on every compiler of the matrix, for the project's own targets only.
function(qnutil_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(QNUTIL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
