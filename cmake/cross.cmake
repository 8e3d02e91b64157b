# Debian's cross compiler for the architecture KOVO_ARCHITECTURE, Debian's name, in the file architectures.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KOVO_ARCHITECTURE)
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/architectures row REGEX "^${KOVO_ARCHITECTURE} ")
if(NOT row MATCHES "^[^ ]+ [^ ]+ (([^ -]+)[^ ]*) ([^ ]+)")
  message(FATAL_ERROR "KOVO_ARCHITECTURE: \"${KOVO_ARCHITECTURE}\" is not in cmake/architectures")
endif()
set(triplet ${CMAKE_MATCH_1})
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_MATCH_2})
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_C_COMPILER ${triplet}-gcc)
# GCC notes ABI changes between its releases; everything here is built by one of them.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_MATCH_3} -L /usr/${triplet})
