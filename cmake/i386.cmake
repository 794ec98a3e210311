# 32-bit x86 on a 64-bit Debian: the multilib compiler and the i386 packages.
# SSE2 arithmetic keeps doubles exact, so that both data models give the same samples.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_C_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_CXX_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR "")
