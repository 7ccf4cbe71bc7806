# Third-party libraries for the Windows target, built from the Debian source trees that
# scripts/deps.sh unpacked (build/deps/<package>.dir names each tree).
set(KESTRELIA_DEPS ${CMAKE_SOURCE_DIR}/build/deps CACHE PATH "unpacked third-party sources")

function(kestrelia_dep_dir package out)
  set(marker ${KESTRELIA_DEPS}/${package}.dir)
  if(NOT EXISTS ${marker})
    message(FATAL_ERROR "${package} sources missing: run scripts/deps.sh first")
  endif()
  file(STRINGS ${marker} dir LIMIT_COUNT 1)
  # A new version or patch set of the sources makes CMake configure again.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${marker})
  set(${out} ${dir} PARENT_SCOPE)
endfunction()

# zlib itself comes from the mingw zlib package.
find_library(ZLIB_STATIC NAMES libz.a z REQUIRED)
find_path(ZLIB_INCLUDE zlib.h REQUIRED)
add_library(zlib_win STATIC IMPORTED GLOBAL)
set_target_properties(zlib_win PROPERTIES IMPORTED_LOCATION ${ZLIB_STATIC}
                      INTERFACE_INCLUDE_DIRECTORIES ${ZLIB_INCLUDE})

# minizip: the ZIP container library of zlib's contrib tree, with the Win32 file layer.
kestrelia_dep_dir(zlib ZLIB_SRC)
set(MINIZIP_DIR ${ZLIB_SRC}/contrib/minizip)
add_library(minizip STATIC
  ${MINIZIP_DIR}/ioapi.c ${MINIZIP_DIR}/iowin32.c ${MINIZIP_DIR}/unzip.c ${MINIZIP_DIR}/zip.c)
target_include_directories(minizip SYSTEM PUBLIC ${MINIZIP_DIR})
target_link_libraries(minizip PUBLIC zlib_win)
target_compile_options(minizip PRIVATE -w)
