# Compiler flags shared by every target of the project.
#
# -ffp-contract=off: a fused multiply-add changes predicate signs and raster values, and the library
# promises bit-exact results where it fixes an order of operations. Fast-math is never enabled.
# -mfpmath=sse: no x87 excess precision on 32-bit x86 builds.

include(CheckCXXCompilerFlag)

function(qssse_apply_flags target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -ffp-contract=off -fno-fast-math)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86|AMD64|amd64|i[3-6]86")
      target_compile_options(${target} PRIVATE -msse2 -mfpmath=sse)
    endif()
    if(QSSSE_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  elseif(MSVC)
    target_compile_options(${target} PRIVATE /W4 /fp:precise)
    if(QSSSE_WERROR)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  endif()
endfunction()
