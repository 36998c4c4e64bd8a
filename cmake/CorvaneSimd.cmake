# Faster variants of a kernel live in files named after their instruction set
# (`*_sse41.cpp`, `*_avx.cpp`). Only those files are compiled for that set;
# everything else stays baseline x86-64, and the dispatch frame decides at run
# time whether a variant may run.
function(corvane_apply_simd_flags)
  foreach(file IN LISTS ARGN)
    if(file MATCHES "_sse41\\.cpp$")
      set_source_files_properties(${file} PROPERTIES COMPILE_OPTIONS "-msse4.1")
    elseif(file MATCHES "_avx\\.cpp$")
      set_source_files_properties(${file} PROPERTIES COMPILE_OPTIONS "-mavx")
    endif()
  endforeach()
endfunction()
