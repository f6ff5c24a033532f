# Compiler options of everything this project compiles itself.
add_library(k7k_options INTERFACE)
target_include_directories(k7k_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(WIN32)
  # Windows 10 is the oldest that runs the supported versions of OBS.
  target_compile_definitions(k7k_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()

# What follows for both linkers: addresses that cannot be guessed; no executable data; stack for the
# removal of the deepest tree that NTFS can hold.
if(MSVC)
  target_compile_options(k7k_options INTERFACE /W4 /utf-8 /permissive- /EHsc /guard:cf)
  # 0x800 is LOAD_LIBRARY_SEARCH_SYSTEM32: the DLLs that the program imports come from there alone
  # ("/DEPENDENTLOADFLAG").
  target_link_options(k7k_options INTERFACE
    /guard:cf /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /STACK:16777216 /DEPENDENTLOADFLAG:0x800)
else()
  target_compile_options(k7k_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
endif()
if(MINGW)
  # And no DLL that Windows does not bring; and the same sources give the same file, whenever and
  # wherever it is linked.
  target_link_options(k7k_options INTERFACE
    -static -Wl,--dynamicbase,--high-entropy-va,--nxcompat,--stack,16777216
    -Wl,--no-insert-timestamp)
endif()

if(K7K_SANITIZE)
  target_compile_options(k7k_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(k7k_options INTERFACE -fsanitize=address,undefined)
endif()

if(K7K_FUZZ)
  # Coverage feedback for libFuzzer in everything; the targets alone link it with its main function.
  target_compile_options(k7k_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(k7k_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
