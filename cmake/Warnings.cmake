# Our own code builds warning-free; third-party code is never compiled here.
function(machelper_warnings target)
  target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Werror>")
endfunction()
