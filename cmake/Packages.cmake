# Debian packages, one for each component of the installation: ./dev package builds and tries them.

find_program(GZIP gzip REQUIRED)
find_program(DPKG_DEB dpkg-deb REQUIRED)
find_program(DPKG_GENSYMBOLS dpkg-gensymbols REQUIRED)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps REQUIRED)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Quarlo developers <quarlo@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # Each package has its own.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quarlo)
set(CPACK_STRIP_FILES ON)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
else()
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/FinishPackages.cmake)

set(packaging ${CMAKE_CURRENT_SOURCE_DIR}/packaging)
set(library_package libquarlo${PROJECT_VERSION_MAJOR})
set(pages_package libquarlopages${PROJECT_VERSION_MAJOR})

# ---- What libraries say of themselves ----

# dpkg-shlibdeps takes the build folder for an unpacked package that holds both libraries, and reads below DEBIAN/ which
# package each of them will be in, and since which version libquarlo has each function.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(control ${CMAKE_BINARY_DIR}/DEBIAN)
file(WRITE ${control}/shlibs "libquarlopages ${PROJECT_VERSION_MAJOR} ${pages_package} (>= ${PROJECT_VERSION})\n")

# Fails where the library exports other than what is listed.
add_custom_command(OUTPUT ${control}/symbols
                   COMMAND ${DPKG_GENSYMBOLS} -a${CPACK_DEBIAN_PACKAGE_ARCHITECTURE} -p${library_package}
                           -v${PROJECT_VERSION} -e$<TARGET_FILE:quarlo> -I${packaging}/${library_package}.symbols
                           -O${control}/symbols -c4
                   DEPENDS quarlo ${packaging}/${library_package}.symbols VERBATIM)
add_custom_target(quarlo_symbols ALL DEPENDS ${control}/symbols)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${packaging}/triggers ${control}/symbols)
set(CPACK_DEBIAN_PAGES_PACKAGE_CONTROL_EXTRA ${packaging}/triggers)

# ---- The packages ----

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
execute_process(COMMAND awk -v date=${date} -v maintainer=${CPACK_PACKAGE_CONTACT} -f ${packaging}/changelog.awk
                        ${CMAKE_CURRENT_SOURCE_DIR}/CHANGELOG.md
                COMMAND ${GZIP} -9n OUTPUT_FILE ${CMAKE_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)

# A component becomes a package of this name, described by a line and by more of them. DOCS are pages of docs/.
function(debian_package component name section)
    cmake_parse_arguments(package "" "SUMMARY;TEXT" "DEPENDS;DOCS;EXAMPLES" ${ARGN})
    list(TRANSFORM package_DOCS PREPEND docs/)
    list(TRANSFORM package_EXAMPLES PREPEND examples/)
    list(JOIN package_DEPENDS ", " depends)
    set(folder share/doc/${name})
    install(FILES ${packaging}/copyright ${CMAKE_BINARY_DIR}/changelog.gz ${package_DOCS}
            DESTINATION ${folder} COMPONENT ${component})
    install(FILES ${package_EXAMPLES} DESTINATION ${folder}/examples COMPONENT ${component})

    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${package_SUMMARY}\n${package_TEXT}" PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

debian_package(library ${library_package} libs
    SUMMARY "finds scanned pages and makes them upright - shared library"
    TEXT "Quarlo takes a scanned page that lies a little skewed on a dark or light
background, finds the four edges of the page, and gives it back upright and
cropped to its exact size, in one call. It works on bitmaps in memory.
.
This package holds the shared library with its C interface.")

debian_package(development libquarlo-dev libdevel
    DEPENDS "${library_package} (= ${PROJECT_VERSION})"
    DOCS coordinates.md deliberate.md memory.md result-codes.md safety.md
    EXAMPLES deskew.c
    SUMMARY "finds scanned pages and makes them upright - development files"
    TEXT "Quarlo takes a scanned page that lies a little skewed on a dark or light
background, finds the four edges of the page, and gives it back upright and
cropped to its exact size, in one call. It works on bitmaps in memory.
.
This package holds what programs are built with: the headers for C and C++,
and the files for pkg-config and CMake.")

if(TARGET quarlo-tool)
    debian_package(pages ${pages_package} libs
        SUMMARY "picture files around libquarlo - shared library"
        TEXT "Libquarlopages reads and writes BMP, PNG, JPEG, TIFF and PNM files, chooses
ground and threshold for the search for the page, scores the frame that was
found, makes the page upright, reports and draws.
.
This package holds the shared library with its C++ interface.")

    debian_package(pages_development libquarlopages-dev libdevel
        DEPENDS "${pages_package} (= ${PROJECT_VERSION})" "libquarlo-dev (= ${PROJECT_VERSION})"
        DOCS coordinates.md report.md report.schema.json score.md
        EXAMPLES straighten.cpp
        SUMMARY "picture files around libquarlo - development files"
        TEXT "Libquarlopages reads and writes BMP, PNG, JPEG, TIFF and PNM files, chooses
ground and threshold for the search for the page, scores the frame that was
found, makes the page upright, reports and draws.
.
This package holds the C++ header and the file for pkg-config.")

    debian_package(tool quarlo graphics
        DOCS cluster.md coordinates.md recipes.md report.md report.schema.json score.md tool.md
        EXAMPLES join-reports quarlo-array.sbatch
        SUMMARY "command-line tool that makes scanned pages upright and crops them"
        TEXT "Quarlo takes scans of pages that lie a little skewed on a dark or light
background, and gives each page back upright and cropped to its exact size.
It reads and writes BMP, PNG, JPEG, TIFF and PNM files, keeps their pages,
resolution and metadata, and chooses ground and threshold by itself. It
reports what was found and how far to trust it.")

    # All that is installed with the tool has been by now.
    install(CODE "file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/share/man/man?/*.[1-9]\")
                  foreach(page IN LISTS pages)
                      execute_process(COMMAND ${GZIP} -9nf \${page} COMMAND_ERROR_IS_FATAL ANY)
                  endforeach()" COMPONENT tool)
endif()

include(CPack)
