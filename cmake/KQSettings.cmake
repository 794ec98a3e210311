# Compiler settings, output folders and the helpers that every folder's CMakeLists.txt uses.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Whatever is run or loaded lies in one folder, and finds its siblings there.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN")

set(KQ_SANITIZE "" CACHE STRING "Sanitizer of this build: address, thread, fuzzer (with address; by clang) or empty")

add_library(kq_settings INTERFACE)
target_compile_options(kq_settings INTERFACE -Wall -Wextra -Wpedantic -Werror -fno-strict-aliasing)
find_package(Threads REQUIRED)
target_link_libraries(kq_settings INTERFACE Threads::Threads)
if(KQ_SANITIZE STREQUAL "address")
    # Interfaces obey a binary contract that plain C can fulfil too, so a pointer's C++ type is not checked (vptr).
    set(_flags -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(KQ_SANITIZE STREQUAL "fuzzer")
    set(_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=vptr,function -fno-sanitize-recover=all
               -fno-omit-frame-pointer -Wno-c99-extensions) # of FFmpeg's headers
elseif(KQ_SANITIZE STREQUAL "thread")
    # -Wno-tsan: fences in the standard library's headers are not instrumented.
    set(_flags -fsanitize=thread -fno-omit-frame-pointer -Wno-tsan)
endif()
if(KQ_SANITIZE)
    target_compile_options(kq_settings INTERFACE ${_flags} -O1)
    target_link_options(kq_settings INTERFACE ${_flags})
    if(KQ_SANITIZE STREQUAL "fuzzer")
        target_link_options(kq_settings INTERFACE -Wl,-z,undefs) # clang's runtime is in the program alone
    endif()
endif()

if(NOT KQ_SANITIZE)
    # What distributions ask for. Sanitizers check more, and fortified calls would hide from them.
    target_compile_options(kq_settings INTERFACE -fstack-protector-strong -Wformat -Werror=format-security
                           $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
    target_link_options(kq_settings INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# kq_pkg(NAME module…): an imported target PkgConfig::NAME, found for this build's data model.
find_package(PkgConfig REQUIRED)
if(CMAKE_TOOLCHAIN_FILE AND CMAKE_LIBRARY_ARCHITECTURE)
    set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:/usr/share/pkgconfig")
endif()
function(kq_pkg name)
    cmake_parse_arguments(arg "OPTIONAL" "" "" ${ARGN})
    if(arg_OPTIONAL)
        pkg_check_modules(${name} QUIET IMPORTED_TARGET GLOBAL ${arg_UNPARSED_ARGUMENTS})
    else()
        pkg_check_modules(${name} REQUIRED QUIET IMPORTED_TARGET GLOBAL ${arg_UNPARSED_ARGUMENTS})
    endif()
    set(${name}_FOUND ${${name}_FOUND} PARENT_SCOPE)
endfunction()

# kq_uses_regex(source…): GCC takes <regex> for uninitialised once it is instrumented.
function(kq_uses_regex)
    if(KQ_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
    endif()
endfunction()

# kq_vector_code(source…): nothing in there outlives its block, and watching every vector for that, or for undefined
# arithmetic, would take the compiler three times as long each. The plain versions, which the tests hold it against, are
# watched.
function(kq_vector_code)
    if(KQ_SANITIZE STREQUAL "address")
        set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize-address-use-after-scope
                     -fno-sanitize=undefined)
    elseif(KQ_SANITIZE STREQUAL "fuzzer")
        # Instrumented, it takes clang twenty minutes. The fuzzers hand it memory between guard pages.
        set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fno-sanitize=all -g0)
    elseif(NOT KQ_SANITIZE)
        # Called for each row, with vectors on the stack that it fills whole: hardened, it would be slower.
        set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fno-stack-protector -U_FORTIFY_SOURCE)
    endif()
endfunction()

# kq_leave_out(TARGET name…): instruction sets of Highway that its vector code is not compiled for, beside ARM's of
# vectors without a fixed size.
function(kq_leave_out target)
    set(sets ${ARGN} SVE SVE2 SVE_256 SVE2_128)
    if(KQ_SANITIZE STREQUAL "fuzzer")
        list(APPEND sets AVX3 AVX3_DL) # clang takes as long for these as for all others together
    endif()
    list(TRANSFORM sets PREPEND HWY_)
    list(REMOVE_DUPLICATES sets)
    list(JOIN sets | sets)
    target_compile_definitions(${target} PUBLIC "HWY_DISABLED_TARGETS=(${sets})")
endfunction()

# kq_test(NAME source… [LIBS target…] [FOLDER sub-folder of bin] [SERIAL] [TIMEOUT seconds]
#         [ENV NAME=VALUE…] [FIXTURES name])
# A GoogleTest program; every test in it is a test of its own for CTest.
# SERIAL: its tests measure time and run alone. FIXTURES: what must have been set up before (FIXTURES_SETUP).
# Under emulation, time says nothing: what measures it is left out, and ./test says so.
function(kq_test name)
    cmake_parse_arguments(arg "SERIAL" "FOLDER;TIMEOUT;FIXTURES" "LIBS;ENV" ${ARGN})
    if(arg_SERIAL AND CMAKE_CROSSCOMPILING_EMULATOR)
        message(STATUS "${name} is left out: it measures time, which says nothing under emulation")
        return()
    endif()
    add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE kq_settings ${arg_LIBS} GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
    if(arg_FOLDER)
        set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin/${arg_FOLDER}
                              INSTALL_RPATH "$ORIGIN;$ORIGIN/..")
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(props TIMEOUT ${arg_TIMEOUT})
    if(arg_SERIAL)
        list(APPEND props RUN_SERIAL TRUE)
    endif()
    if(arg_FIXTURES)
        list(APPEND props FIXTURES_REQUIRED ${arg_FIXTURES})
    endif()
    set(env "TSAN_OPTIONS=halt_on_error=1 second_deadlock_stack=1 suppressions=${PROJECT_SOURCE_DIR}/cmake/tsan.supp"
            "UBSAN_OPTIONS=print_stacktrace=1"
            "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/lsan.supp print_suppressions=0"
            ${arg_ENV})
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        list(APPEND env KQ_EMULATED=1 ${CMAKE_CROSSCOMPILING_EMULATOR})
    endif()
    # A launcher, because gtest_discover_tests() would take a list of several variables apart.
    set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "env;${env}")
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${props})
endfunction()
