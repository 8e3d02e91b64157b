# Defines kovo_options: the compiler and linker options of all targets.
include(CheckCXXCompilerFlag)
include(CheckIPOSupported)
include(CheckLinkerFlag)
include(CheckPIESupported)

option(KOVO_WERROR "Treat warnings as errors" OFF)
option(KOVO_LTO "Optimise at link time" OFF)
option(KOVO_HARDENING "Make memory errors harder to exploit" ON)
option(KOVO_STATIC_RUNTIME "Link libstdc++ and libgcc statically: the device then needs only the C library" OFF)
set(KOVO_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize=")

add_library(kovo_options INTERFACE)
target_compile_features(kovo_options INTERFACE cxx_std_17)
target_compile_options(kovo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta>
  $<$<BOOL:${KOVO_WERROR}>:-Werror>
  -ffunction-sections -fdata-sections)
# 64-bit times and file offsets, also on 32-bit targets.
target_compile_definitions(kovo_options INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_options(kovo_options INTERFACE -Wl,--gc-sections)

if(KOVO_STATIC_RUNTIME)
  target_link_options(kovo_options INTERFACE -static-libstdc++ -static-libgcc)
endif()

if(KOVO_LTO)
  check_ipo_supported()
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
endif()

if(KOVO_SANITIZE)
  target_compile_options(kovo_options INTERFACE
    -fsanitize=${KOVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_definitions(kovo_options INTERFACE KOVO_SANITIZED)
  target_compile_options(kovo_options INTERFACE -UNDEBUG)  # assertions are active
  target_link_options(kovo_options INTERFACE -fsanitize=${KOVO_SANITIZE})
  return()  # sanitizers replace the hardening
endif()

# Adds a linker flag if the linker supports it.
function(kovo_link_flag flag)
  string(MAKE_C_IDENTIFIER "KOVO_HAS${flag}" known)
  check_linker_flag(CXX ${flag} ${known})
  if(${known})
    target_link_options(kovo_options INTERFACE ${flag})
  endif()
endfunction()

if(KOVO_HARDENING AND NOT CMAKE_SYSTEM_PROCESSOR STREQUAL wasm32)
  check_pie_supported(LANGUAGES CXX)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)  # for position-independent executables
  target_compile_options(kovo_options INTERFACE -fPIE)  # not -fPIC: the libraries are only linked into executables
  check_cxx_compiler_flag(-fstack-protector-strong KOVO_HAS_STACK_PROTECTOR)
  if(KOVO_HAS_STACK_PROTECTOR)
    target_compile_options(kovo_options INTERFACE -fstack-protector-strong)
  endif()
  foreach(flag relro now noexecstack)
    kovo_link_flag(-Wl,-z,${flag})
  endforeach()
  # _FORTIFY_SOURCE needs optimisation. Other build types (Debian's None) have their own flags.
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
  target_compile_options(kovo_options INTERFACE
    $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
endif()
