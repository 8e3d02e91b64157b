# WebAssembly, from Debian's packages clang, lld, llvm, wasi-libc, libc++-14-dev-wasm32,
# libc++abi-14-dev-wasm32 and libclang-rt-14-dev-wasm32.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_SYSROOT /usr)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_AR llvm-ar)
set(CMAKE_RANLIB llvm-ranlib)
set(CMAKE_CXX_FLAGS_INIT -fno-exceptions)
# CMake's compiler check then links no program.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
