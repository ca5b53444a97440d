# The house's compiler flags, as interface targets that every target of ours links.
include(CheckLinkerFlag)

add_library(rav_flags INTERFACE)
target_include_directories(rav_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(rav_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
target_compile_definitions(rav_flags INTERFACE _GNU_SOURCE RAV_VERSION="${PROJECT_VERSION}")
if(RAV_SANITIZE)
  target_compile_options(rav_flags INTERFACE -fsanitize=${RAV_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
  target_link_options(rav_flags INTERFACE -fsanitize=${RAV_SANITIZE})
endif()
if(RAV_FUZZ)
  target_compile_options(rav_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# ravc and the libraries do without exceptions and run-time type information.
add_library(rav_plain_flags INTERFACE)
target_link_libraries(rav_plain_flags INTERFACE rav_flags)
target_compile_options(rav_plain_flags INTERFACE -fno-exceptions -fno-rtti)

# jansson, as an archive where it is linked in.
add_library(rav_jansson INTERFACE)
if(RAV_LINK_IN)
  target_include_directories(rav_jansson INTERFACE ${JANSSON_INCLUDE_DIRS})
  target_link_libraries(rav_jansson INTERFACE -l:libjansson.a)
else()
  target_link_libraries(rav_jansson INTERFACE PkgConfig::JANSSON)
endif()

# GNU readline, and the part of ncurses that it draws with, likewise.
add_library(rav_readline INTERFACE)
if(RAV_LINK_IN)
  target_include_directories(rav_readline INTERFACE ${READLINE_INCLUDE_DIRS})
  target_link_libraries(rav_readline INTERFACE -l:libreadline.a -l:libtinfo.a)
else()
  target_link_libraries(rav_readline INTERFACE PkgConfig::READLINE)
endif()

# MD5.
add_library(rav_md INTERFACE)
if(RAV_LINK_IN)
  target_link_libraries(rav_md INTERFACE -l:libmd.a)
else()
  target_link_libraries(rav_md INTERFACE PkgConfig::MD)
endif()

# Lua 5.3 as C++: its errors unwind our frames, so what is built against it needs exceptions.
add_library(rav_lua INTERFACE)
if(RAV_LINK_IN)
  target_include_directories(rav_lua INTERFACE ${LUA_INCLUDE_DIRS})
  target_link_libraries(rav_lua INTERFACE -l:liblua5.3-c++.a)
else()
  target_link_libraries(rav_lua INTERFACE PkgConfig::LUA)
endif()

# Links the C++ library into a program where that is asked for, without what the program never reaches, and with the
# addresses that move with it packed, where the linker can.
check_linker_flag(CXX -Wl,-z,pack-relative-relocs RAV_PACKS_RELOCATIONS)
function(rav_link_in target)
  if(RAV_LINK_IN)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc -Wl,--as-needed -Wl,--gc-sections)
    if(RAV_PACKS_RELOCATIONS)
      target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
    endif()
  endif()
endfunction()
