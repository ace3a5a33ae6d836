# A toolchain file for configuring, never building, the Apple branch of this project's CMake files on
# Linux: `cmake -S . -B build/apple-configure --toolchain cmake/DarwinConfigureOnly.cmake`. It says
# the target is Darwin and skips what needs a Mac (compiler checks, linking in try_compile, the SDK,
# codesign), so that every `if(APPLE)` rule is read and a mistake in one (an install rule a bundle
# rejects, a missing source, a misspelt property) stops the configure here as it would on a Mac.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 22.0)  # macOS 13
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_ARCHITECTURES arm64)
# No SDK here: keep CMake's Darwin platform files from asking xcrun for one.
set(CMAKE_OSX_SYSROOT "/" CACHE PATH "")

# Clang stands in for Apple clang in every language the project enables; it is never run to build.
find_program(corvane_clang clang++ REQUIRED)
foreach(lang C CXX OBJCXX)
  set(CMAKE_${lang}_COMPILER ${corvane_clang})
  set(CMAKE_${lang}_COMPILER_WORKS TRUE)
endforeach()
# Feature checks compile a static library only (nothing can be linked for Darwin here).
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# Packages come from this host's folders (their CMake files are the same on a Mac with Homebrew).
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY NEVER)
execute_process(COMMAND ${corvane_clang} -print-multiarch OUTPUT_VARIABLE corvane_multiarch
                OUTPUT_STRIP_TRAILING_WHITESPACE)
set(CMAKE_LIBRARY_ARCHITECTURE ${corvane_multiarch})
# Tools that run only when building or installing.
set(CMAKE_INSTALL_NAME_TOOL install_name_tool CACHE FILEPATH "")
set(CMAKE_LIPO lipo CACHE FILEPATH "")
set(CORVANE_CODESIGN codesign CACHE FILEPATH "")
set(CORVANE_ICONUTIL iconutil CACHE FILEPATH "")
