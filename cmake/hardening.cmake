# What makes an error of memory harder to exploit, for everything that is built: position independent
# executables, no writable tables for the linker, no executable stack, checked stacks and copies.
# Sanitizers bring checks of their own and do not go together with these.
if(KOVO_SANITIZE OR CMAKE_SYSTEM_PROCESSOR MATCHES wasm)
  return()
endif()

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)  # executables are linked as such
add_compile_options(-fPIE)  # for the libraries, which are part of executables and of nothing else

add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
# Without optimisation there is none; a build type of the caller's own (Debian's None) brings it along.
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options($<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
