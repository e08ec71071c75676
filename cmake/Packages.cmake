# Debian packages: `cpack` in a build of the preset "package", which scripts/check-packages.sh makes and tries out.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL kalvatri library development python)
if(NOT TARGET KalvatriPython)
    list(REMOVE_ITEM CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "EffectsKalvatriPhoto <maintainers@example.org>" CACHE STRING "Maintainer of the packages")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(library liborvexahost${ORVEXA_ABI})
function(orvexa_describe_package component name section summary text)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    # What every package has: its licence and its changes.
    set(folder ${PROJECT_BINARY_DIR}/packages/${name})
    file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
    string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
    string(REGEX REPLACE "\n([^\n])" "\n \\1" licence "${licence}")
    file(WRITE ${folder}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${PROJECT_NAME}

Files: *
Copyright: the ${PROJECT_NAME} authors
License: Expat
 ${licence}")
    string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
    file(WRITE ${folder}/changelog "${name} (${PROJECT_VERSION}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}; CHANGELOG.md of the package kalvatri tells what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
    execute_process(COMMAND gzip -9nf ${folder}/changelog)
    install(FILES ${folder}/copyright ${folder}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
endfunction()

if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    orvexa_describe_package(kalvatri kalvatri graphics "photo effects on the command line"
"Applies effects to photographs, one by one or whole collections: tone and
colour, faces, blur, segmentation and matting, and neural networks that
remove noise or enlarge. The files keep their metadata.")
    orvexa_describe_package(library ${library} libs "photo effects, the host library"
"The library in which photo effects run: frames, settings, image files and
the sub-effects that effects are made of.")
    orvexa_describe_package(development liborvexahost-dev libdevel "photo effects, files for development"
"Headers and CMake files for programs that run photo effects, or offer them
further sub-effects.")
    orvexa_describe_package(python python3-kalvatri python "photo effects on numpy arrays"
"A Python module that applies photo effects to numpy arrays, finds faces, and
reads and writes picture files with their metadata.")
endif()
set(same "(= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_KALVATRI_PACKAGE_DEPENDS "${library} ${same}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS kalvatri)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library} ${same}, libboost-dev (>= 1.74)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "kalvatri ${same}, ${library} ${same}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
include(CPack)
