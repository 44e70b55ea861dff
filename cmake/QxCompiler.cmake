# Language level, warnings and hardening: one target that everything of ours links.
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
if(QX_SANITIZE)
  # A report needs the line numbers, not the variables, which take half of the compiler's time.
  set(CMAKE_C_FLAGS_DEBUG "-O1 -g1")
  set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")
endif()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_library(qx_compiler INTERFACE)
target_include_directories(qx_compiler INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(qx_compiler INTERFACE _GNU_SOURCE)
target_compile_options(
  qx_compiler
  INTERFACE -Werror
            -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wcast-qual
            -Wundef
            -Wformat=2
            # gcc 12 sees null pointers in its own library once that is inlined: clang's word counts.
            $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wnull-dereference>
            -fstack-protector-strong
            # A designated initializer leaves the other members at their defaults on purpose.
            $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond>
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wlogical-op>
            # gcc 12 sees overlaps in its own std::string (its bug 105329).
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>
            # A unique symbol would keep the library in memory after dlclose.
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>
            $<$<CONFIG:Release>:-g1>)

if(QX_SANITIZE)
  target_compile_options(
    qx_compiler INTERFACE -fsanitize=${QX_SANITIZE} -fno-sanitize-recover=all
                          -fno-omit-frame-pointer)
  target_link_options(qx_compiler INTERFACE -fsanitize=${QX_SANITIZE})
else()
  target_compile_options(qx_compiler INTERFACE $<$<CONFIG:Release>:-U_FORTIFY_SOURCE
                                               -D_FORTIFY_SOURCE=2>)
  target_link_options(qx_compiler INTERFACE -Wl,-z,relro,-z,now -Wl,--no-undefined)
endif()

# What the fuzzer steers by; each target of fuzz/ links the fuzzer itself.
if(QX_FUZZ)
  target_compile_options(qx_compiler INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(qx_compiler INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(QXSAPSSF_STATIC_RUNTIME)
  target_link_options(qx_compiler INTERFACE -static-libstdc++ -static-libgcc)
endif()
