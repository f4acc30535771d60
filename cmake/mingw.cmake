# 64-bit Windows by MinGW-w64, with the "posix" variant of its threads. Every runtime library is
# linked statically, so a binary needs nothing but Windows itself.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

# GCC aligns the stack to 16 bytes there but spills wider vectors as if it were aligned to 32 (GCC
# bug 54412). The assembler replaces every such move by an unaligned one; the kernels for wide
# vectors are built only then.
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move -DVELMORA_UNALIGNED_VECTOR_MOVES")
# Unicode interfaces of Windows 10, and printf of the C standard.
string(APPEND CMAKE_CXX_FLAGS_INIT " -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00 -DWIN32_LEAN_AND_MEAN -DNOMINMAX")
string(APPEND CMAKE_CXX_FLAGS_INIT " -D__USE_MINGW_ANSI_STDIO=1")

# Programs come from the building system, everything else from the toolchain or by name.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs of the build run under Wine, in a prefix of the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/wine.sh ${CMAKE_BINARY_DIR}/wine)
