# Debian packages of the installed components: cmake --workflow --preset package.
set(NORVANE_DEBIAN_REVISION 1)
set(NORVANE_MAINTAINER "Norvane developers <norvane@localhost>" CACHE STRING "Who makes the packages")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT ${NORVANE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development program python)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${NORVANE_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE norvane)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# While the packages are made, the library belongs to no package yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

string(TIMESTAMP NORVANE_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC) # uses SOURCE_DATE_EPOCH if it is set
set(debian ${CMAKE_CURRENT_LIST_DIR})
set(made ${PROJECT_BINARY_DIR}/debian)
configure_file(${debian}/changelog.in ${made}/changelog @ONLY)

function(norvane_compress file result)
  execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
endfunction()
norvane_compress(${made}/changelog ${made}/changelog.Debian.gz)
norvane_compress(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${made}/changelog.gz)
norvane_compress(${PROJECT_SOURCE_DIR}/docs/man/norvane-dask.1 ${made}/norvane-dask.1.gz)

# The list of contents as SPDX. It is in each package, and beside the packages together with their checksums.
set(library_package libnorvane${PROJECT_VERSION_MAJOR})
set(sbom_targets norvane norvane-cli)
set(sbom_packages ${library_package}=$<TARGET_FILE:norvane> libnorvane-dev= norvane=$<TARGET_FILE:norvane-cli>)
if(NORVANE_BUILD_PYTHON)
  list(APPEND sbom_targets norvane_python)
  list(APPEND sbom_packages python3-norvane=$<TARGET_FILE:norvane_python>)
endif()
set(sbom_script ${PROJECT_SOURCE_DIR}/scripts/make_sbom.py)
set(make_sbom /usr/bin/python3 ${sbom_script} --version ${PROJECT_VERSION}-${NORVANE_DEBIAN_REVISION} ${sbom_packages})
add_custom_command(OUTPUT ${made}/norvane.spdx.json DEPENDS ${sbom_targets} ${sbom_script}
                   COMMAND ${make_sbom} --output ${made}/norvane.spdx.json)
add_custom_target(norvane_sbom ALL DEPENDS ${made}/norvane.spdx.json)
list(JOIN make_sbom "\" \"" make_sbom)
file(GENERATE OUTPUT ${made}/sbom.cmake CONTENT
  "execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${make_sbom}\"
  --output ${CPACK_PACKAGE_DIRECTORY}/norvane-${PROJECT_VERSION}.spdx.json --deb \${CPACK_PACKAGE_FILES})\n")
set(CPACK_POST_BUILD_SCRIPTS ${made}/sbom.cmake)

# Arguments: component, package, section, then further settings of CPack in pairs.
function(norvane_debian_package component package section)
  install(FILES ${debian}/copyright ${made}/changelog.gz ${made}/changelog.Debian.gz ${made}/norvane.spdx.json
          DESTINATION share/doc/${package} COMPONENT ${component})
  install(FILES ${debian}/lintian-overrides DESTINATION share/lintian/overrides RENAME ${package} COMPONENT ${component})
  string(TOUPPER ${component} name)
  set(settings PACKAGE_NAME ${package} PACKAGE_SECTION ${section} ${ARGN})
  while(settings)
    list(POP_FRONT settings key value)
    set(CPACK_DEBIAN_${name}_${key} ${value} PARENT_SCOPE)
  endwhile()
  file(READ ${debian}/${package}.txt description)
  string(STRIP "${description}" description)
  set(CPACK_DEBIAN_${name}_DESCRIPTION "${description}" PARENT_SCOPE)
endfunction()

set(this_library "${library_package} (= ${PROJECT_VERSION}-${NORVANE_DEBIAN_REVISION})")
norvane_debian_package(library ${library_package} libs)
# Use a trigger instead of the scripts that CPack writes for ldconfig. CPack leaves its scripts out if others are given, and
# ignores those that do not exist.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian}/triggers ${made}/no/postinst ${made}/no/postrm)
norvane_debian_package(development libnorvane-dev libdevel PACKAGE_DEPENDS ${this_library})
norvane_debian_package(program norvane science PACKAGE_DEPENDS "${library_package} (>= ${PROJECT_VERSION})"
                       PACKAGE_RECOMMENDS fonts-dejavu-core PACKAGE_SUGGESTS bash-completion)
install(FILES ${PROJECT_SOURCE_DIR}/docs/example.cpp ${PROJECT_SOURCE_DIR}/docs/example.c
        DESTINATION share/doc/libnorvane-dev/examples
        COMPONENT development)

if(NORVANE_BUILD_PYTHON)
  # The extension fits only one minor version of the interpreter.
  get_directory_property(minor DIRECTORY ${PROJECT_SOURCE_DIR}/python DEFINITION Python_VERSION_MINOR)
  math(EXPR next_minor "${minor} + 1")
  set(python_depends "python3 (>= 3.${minor}~)" "python3 (<< 3.${next_minor})" python3-numpy
                     "${library_package} (>= ${PROJECT_VERSION})"
                     "norvane (= ${PROJECT_VERSION}-${NORVANE_DEBIAN_REVISION})") # contains norvane-decoder
  list(JOIN python_depends ", " python_depends)
  norvane_debian_package(python python3-norvane python PACKAGE_DEPENDS ${python_depends}
                         PACKAGE_SUGGESTS python3-distributed) # for norvane-dask
  install(FILES ${made}/norvane-dask.1.gz DESTINATION share/man/man1 COMPONENT python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian}/postinst ${debian}/prerm)
else()
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL python)
endif()
include(CPack)
