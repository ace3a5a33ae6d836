# Settings every target of ours shares: C++20 and warnings as errors. Third-party code is untouched.
function(corvane_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 reports false positives inside libstdc++ at -O2: maybe-uninitialized for
    # std::variant/optional moves, and restrict and stringop-overflow for std::string assignment
    # (GCC bugs 105329 and 105651).
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized -Wno-restrict -Wno-stringop-overflow)
  endif()
endfunction()

# Sources of a folder, picked up by pattern so that adding a unit needs no CMake edit.
function(corvane_glob out)
  file(GLOB result CONFIGURE_DEPENDS ${ARGN})
  list(SORT result)
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# The heavy headers most units include, parsed once per target instead of once per file.
function(corvane_precompile target)
  target_precompile_headers(${target} PRIVATE <nlohmann/json.hpp> <functional> <map> <memory> <optional>
                            <string> <string_view> <variant> <vector> ${ARGN})
endfunction()
