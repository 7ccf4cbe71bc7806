# Third-party libraries for the Windows target, built from the Debian source trees that
# scripts/deps.sh unpacked (build/deps/<package>.dir names each tree).
set(KESTRELIA_DEPS ${CMAKE_SOURCE_DIR}/build/deps CACHE PATH "unpacked third-party sources")

function(kestrelia_dep_dir package out)
  set(marker ${KESTRELIA_DEPS}/${package}.dir)
  if(NOT EXISTS ${marker})
    message(FATAL_ERROR "${package} sources missing: run scripts/deps.sh first")
  endif()
  file(STRINGS ${marker} dir LIMIT_COUNT 1)
  # The marker names the tree the last scripts/deps.sh run unpacked, and several checkouts
  # may share the sources: each build takes the tree of its own patch set (the key
  # scripts/deps.sh gives it), so a checkout with other patches cannot swap it underneath.
  file(GLOB patches ${CMAKE_SOURCE_DIR}/cmake/patches/${package}/*.patch)
  set(key plain)
  if(patches)
    list(SORT patches)
    set(all "")
    foreach(patch ${patches})
      file(READ ${patch} text)
      string(APPEND all "${text}")
    endforeach()
    string(SHA256 key "${all}")
    string(SUBSTRING ${key} 0 8 key)
  endif()
  if(NOT dir MATCHES "-${key}$")
    file(GLOB candidates LIST_DIRECTORIES true ${KESTRELIA_DEPS}/src/${package}-*-${key})
    if(NOT candidates)
      message(FATAL_ERROR "${package} sources with this patch set missing: run scripts/deps.sh first")
    endif()
    list(SORT candidates)
    list(GET candidates -1 dir)
  endif()
  # A new version or patch set of the sources makes CMake configure again.
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${marker} ${patches})
  set(${out} ${dir} PARENT_SCOPE)
endfunction()

# The cache folder of a library built once per source version and recipe (the script in
# cmake/ that builds it): ${KESTRELIA_DEPS}/built/<source folder>-<recipe hash>.
function(kestrelia_built_dir source script out)
  file(SHA256 ${CMAKE_SOURCE_DIR}/cmake/${script} recipe)
  string(SUBSTRING ${recipe} 0 8 recipe)
  get_filename_component(version ${source} NAME)
  set(${out} ${KESTRELIA_DEPS}/built/${version}-${recipe} PARENT_SCOPE)
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

# bzip2 for the Windows target: minizip decodes method 12 with it (without HAVE_BZIP2 the
# library reads such an entry as raw bytes and calls it success) and libarchive filters with it.
kestrelia_dep_dir(bzip2 BZIP2_SRC)
add_library(bzip2 STATIC
  ${BZIP2_SRC}/blocksort.c ${BZIP2_SRC}/huffman.c ${BZIP2_SRC}/crctable.c ${BZIP2_SRC}/randtable.c
  ${BZIP2_SRC}/compress.c ${BZIP2_SRC}/decompress.c ${BZIP2_SRC}/bzlib.c)
target_include_directories(bzip2 SYSTEM PUBLIC ${BZIP2_SRC})
target_compile_options(bzip2 PRIVATE -w)
target_compile_definitions(minizip PRIVATE HAVE_BZIP2)
target_link_libraries(minizip PUBLIC bzip2)
# LZMA, Zstandard and XZ entries: the container library hands them to the engine's decoders.
target_sources(minizip PRIVATE ${CMAKE_SOURCE_DIR}/zip/newer_methods.c)
target_link_libraries(minizip PUBLIC liblzma libzstd)

# liblzma (LZMA, XZ), libzstd and liblz4: the ZIP engine's newer methods and libarchive's
# filters link these same builds, made once per source versions and recipe.
kestrelia_dep_dir(xz-utils XZ_SRC)
kestrelia_dep_dir(libzstd ZSTD_SRC)
kestrelia_dep_dir(lz4 LZ4_SRC)
kestrelia_built_dir(${XZ_SRC} build-codecs.sh CODECS_BUILT)
get_filename_component(zstd_version ${ZSTD_SRC} NAME)
get_filename_component(lz4_version ${LZ4_SRC} NAME)
set(CODECS_BUILT ${CODECS_BUILT}-${zstd_version}-${lz4_version})
add_custom_command(OUTPUT ${CODECS_BUILT}/.built
  COMMAND bash ${CMAKE_SOURCE_DIR}/cmake/build-codecs.sh ${XZ_SRC} ${ZSTD_SRC} ${LZ4_SRC} ${CODECS_BUILT}
          ${CMAKE_TOOLCHAIN_FILE}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/build-codecs.sh
  VERBATIM)
add_custom_target(codecs_built DEPENDS ${CODECS_BUILT}/.built)
file(MAKE_DIRECTORY ${CODECS_BUILT}/include)
foreach(codec lzma zstd lz4)
  add_library(lib${codec} STATIC IMPORTED GLOBAL)
  set_target_properties(lib${codec} PROPERTIES IMPORTED_LOCATION ${CODECS_BUILT}/lib/lib${codec}.a
    INTERFACE_INCLUDE_DIRECTORIES ${CODECS_BUILT}/include)
  add_dependencies(lib${codec} codecs_built)
endforeach()
set_property(TARGET liblzma PROPERTY INTERFACE_COMPILE_DEFINITIONS LZMA_API_STATIC)

# libarchive takes minutes to build, so it is built once per source version and build recipe
# into a cache beside the unpacked sources and every build tree links that copy.
kestrelia_dep_dir(libarchive LIBARCHIVE_SRC)
kestrelia_built_dir(${LIBARCHIVE_SRC} build-libarchive.sh LIBARCHIVE_BUILT)
add_custom_command(OUTPUT ${LIBARCHIVE_BUILT}/.built
  COMMAND bash ${CMAKE_SOURCE_DIR}/cmake/build-libarchive.sh ${LIBARCHIVE_SRC} ${LIBARCHIVE_BUILT}
          ${CMAKE_TOOLCHAIN_FILE} ${ZLIB_STATIC} ${ZLIB_INCLUDE} $<TARGET_FILE:bzip2> ${BZIP2_SRC} ${CODECS_BUILT}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/build-libarchive.sh ${CODECS_BUILT}/.built
  VERBATIM)
add_custom_target(libarchive_built DEPENDS ${LIBARCHIVE_BUILT}/.built)
add_dependencies(libarchive_built bzip2 codecs_built)
file(MAKE_DIRECTORY ${LIBARCHIVE_BUILT}/include)
add_library(libarchive STATIC IMPORTED GLOBAL)
set_target_properties(libarchive PROPERTIES IMPORTED_LOCATION ${LIBARCHIVE_BUILT}/lib/libarchive.a
  INTERFACE_INCLUDE_DIRECTORIES ${LIBARCHIVE_BUILT}/include
  INTERFACE_COMPILE_DEFINITIONS LIBARCHIVE_STATIC
  INTERFACE_LINK_LIBRARIES "bzip2;zlib_win;liblzma;libzstd;liblz4;bcrypt")
add_dependencies(libarchive libarchive_built)

# libdeflate: a whole-buffer deflate decoder several times faster than zlib's inflate, used
# for entries small enough to inflate in one piece (zlib keeps the streams).
kestrelia_dep_dir(libdeflate LIBDEFLATE_SRC)
add_library(libdeflate STATIC
  ${LIBDEFLATE_SRC}/lib/deflate_decompress.c ${LIBDEFLATE_SRC}/lib/deflate_compress.c
  ${LIBDEFLATE_SRC}/lib/crc32.c ${LIBDEFLATE_SRC}/lib/adler32.c ${LIBDEFLATE_SRC}/lib/utils.c
  ${LIBDEFLATE_SRC}/lib/zlib_decompress.c ${LIBDEFLATE_SRC}/lib/zlib_compress.c
  ${LIBDEFLATE_SRC}/lib/gzip_decompress.c ${LIBDEFLATE_SRC}/lib/gzip_compress.c
  ${LIBDEFLATE_SRC}/lib/x86/cpu_features.c)
target_include_directories(libdeflate SYSTEM PUBLIC ${LIBDEFLATE_SRC})
target_compile_options(libdeflate PRIVATE -O2 -w)

# unrar.dll, the UnRAR library the RAR adapter loads by name, built once per source version
# and recipe like libarchive and copied beside the program as it ships.
kestrelia_dep_dir(unrar-nonfree UNRAR_SRC)
kestrelia_built_dir(${UNRAR_SRC} build-unrar.sh UNRAR_BUILT)
add_custom_command(OUTPUT ${UNRAR_BUILT}/.built
  COMMAND bash ${CMAKE_SOURCE_DIR}/cmake/build-unrar.sh ${UNRAR_SRC} ${UNRAR_BUILT}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/build-unrar.sh
  VERBATIM)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/bin/unrar.dll
  COMMAND ${CMAKE_COMMAND} -E copy ${UNRAR_BUILT}/unrar.dll ${CMAKE_BINARY_DIR}/bin/unrar.dll
  DEPENDS ${UNRAR_BUILT}/.built
  VERBATIM)
add_custom_target(unrar_dll ALL DEPENDS ${CMAKE_BINARY_DIR}/bin/unrar.dll)

# expat for xml.dll, built once per source version and recipe like libarchive.
kestrelia_dep_dir(expat EXPAT_SRC)
kestrelia_built_dir(${EXPAT_SRC} build-expat.sh EXPAT_BUILT)
add_custom_command(OUTPUT ${EXPAT_BUILT}/.built
  COMMAND bash ${CMAKE_SOURCE_DIR}/cmake/build-expat.sh ${EXPAT_SRC} ${EXPAT_BUILT} ${CMAKE_TOOLCHAIN_FILE}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/build-expat.sh
  VERBATIM)
add_custom_target(expat_built DEPENDS ${EXPAT_BUILT}/.built)
file(MAKE_DIRECTORY ${EXPAT_BUILT}/include)
add_library(expat STATIC IMPORTED GLOBAL)
set_target_properties(expat PROPERTIES IMPORTED_LOCATION ${EXPAT_BUILT}/lib/libexpat.a
  INTERFACE_INCLUDE_DIRECTORIES ${EXPAT_BUILT}/include
  INTERFACE_COMPILE_DEFINITIONS XML_STATIC)
add_dependencies(expat expat_built)

# The peer tools scripts/deps.sh unpacked (rar, unrar) for the tests and benches.
set(KESTRELIA_TOOLS_BIN ${KESTRELIA_DEPS}/tools/bin)

# The 7z reading code of the 7-Zip sources for sevenzip.dll, built once per source version and
# recipe like libarchive.
kestrelia_dep_dir(7zip SEVENZIP_SRC)
kestrelia_built_dir(${SEVENZIP_SRC} build-7zip.sh SEVENZIP_BUILT)
add_custom_command(OUTPUT ${SEVENZIP_BUILT}/.built
  COMMAND bash ${CMAKE_SOURCE_DIR}/cmake/build-7zip.sh ${SEVENZIP_SRC} ${SEVENZIP_BUILT}
  DEPENDS ${CMAKE_SOURCE_DIR}/cmake/build-7zip.sh
  VERBATIM)
add_custom_target(sevenzip_built DEPENDS ${SEVENZIP_BUILT}/.built)
add_library(lib7zip STATIC IMPORTED GLOBAL)
set_target_properties(lib7zip PROPERTIES IMPORTED_LOCATION ${SEVENZIP_BUILT}/lib/lib7zip.a)
add_dependencies(lib7zip sevenzip_built)
