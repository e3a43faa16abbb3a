# The Debian packages that `make packages` builds, one a component. A component is packaged when the build has it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrova)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${KESTROVA_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each description brings its own
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/stage.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/finish.cmake")
set(CPACK_KESTROVA_PACKAGING_DIR "${CMAKE_CURRENT_LIST_DIR}")
set(CPACK_KESTROVA_CHANGELOG "${CMAKE_BINARY_DIR}/packaging/changelog")
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog" "${CPACK_KESTROVA_CHANGELOG}" @ONLY)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}" "${CMAKE_BINARY_DIR}/photo")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENTS_ALL "")

# debian_package(COMPONENT NAME SECTION [ARCHITECTURE all] [DEPENDS packages] [SUGGESTS packages]
#         DESCRIPTION line...): the first line is the summary.
function(debian_package component name section)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "ARCHITECTURE;SUGGESTS" "DEPENDS;DESCRIPTION")
  string(TOUPPER "${component}" key)
  list(JOIN arg_DEPENDS ", " depends)
  list(JOIN arg_DESCRIPTION "\n" description)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_COMPONENTS_ALL "${CPACK_COMPONENTS_ALL}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${description}" PARENT_SCOPE)
  if(arg_ARCHITECTURE)
    set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE ${arg_ARCHITECTURE} PARENT_SCOPE)
  endif()
endfunction()

# Before 1.0 a minor version may change the interface: the packages of one version belong together.
set(this "(= ${PROJECT_VERSION})")

debian_package(core libkestrova0 libs DESCRIPTION
  "image-processing core of a photo editor (shared library)"
  "kestrova takes a photograph apart into luminance, chroma and scales of detail,"
  "changes them along the edges of the picture, and gives pixels and masks back:"
  "the same bits on every processor and with any number of threads."
  ""
  "This package contains the shared library.")
set(development_packages libkestrova0)

if(TARGET kestrova_photo)
  debian_package(photo libkestrova-photo0 libs DEPENDS "libkestrova0 ${this}" DESCRIPTION
    "development of photographs on kestrova (shared library)"
    "libkestrova-photo reads photographs with their metadata and profile, develops"
    "them by kestrova's filters with settings that can be saved, and writes them"
    "without losing what the file carries besides pixels."
    ""
    "This package contains the shared library.")
  list(APPEND development_packages libkestrova-photo0)
endif()

list(TRANSFORM development_packages APPEND " ${this}")
debian_package(dev libkestrova-dev libdevel SUGGESTS kestrova-doc
  DEPENDS ${development_packages} libopencv-core-dev libopencv-imgproc-dev DESCRIPTION
  "image-processing core of a photo editor (development files)"
  "kestrova takes a photograph apart into luminance, chroma and scales of detail,"
  "changes them along the edges of the picture, and gives pixels and masks back."
  ""
  "This package contains the headers of the core and of the photo layer, and what"
  "CMake and pkg-config need to find them.")

if(TARGET kestrova-develop)
  debian_package(tools kestrova-tools graphics DEPENDS "libkestrova-photo0 ${this}" DESCRIPTION
    "develop photographs from the command line"
    "kestrova-develop applies settings for light, detail, colour and noise to many"
    "photographs at once. It reads JPEG, PNG, TIFF, WebP, HEIF, AVIF, JPEG 2000,"
    "OpenEXR and RAW files, writes JPEG, PNG, TIFF and WebP, carries metadata and"
    "profiles along, and replaces its targets in one step.")
endif()

if(TARGET kestrova-studio)
  debian_package(studio kestrova-studio graphics DEPENDS "libkestrova-photo0 ${this}"
    SUGGESTS qt6-translations-l10n DESCRIPTION
    "develop photographs in a window"
    "kestrova-studio shows a photograph while its light, detail, colour and noise"
    "change, paints masks for local adjustments, and exports many photographs with"
    "the same settings as kestrova-develop.")
endif()

if(TARGET kestrova_python)
  find_package(Python COMPONENTS Interpreter)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA  # bytecode comes and goes with the package
      "${CMAKE_CURRENT_LIST_DIR}/python/postinst" "${CMAKE_CURRENT_LIST_DIR}/python/prerm")
  math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
  debian_package(python python3-kestrova python
    DEPENDS "libkestrova-photo0 ${this}" python3-numpy "python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR})"
            "python3 (<< ${Python_VERSION_MAJOR}.${next_minor})" DESCRIPTION
    "image-processing core of a photo editor (Python module)"
    "kestrova takes a photograph apart into luminance, chroma and scales of detail,"
    "changes them along the edges of the picture, and gives pixels and masks back."
    ""
    "This package contains the module for Python 3, which works on numpy's arrays.")
endif()

if(KESTROVA_DOCS_HTML)
  install(DIRECTORY "${KESTROVA_DOCS_HTML}/" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/kestrova-doc/html"
          COMPONENT doc PATTERN "*.md5" EXCLUDE PATTERN "*.map" EXCLUDE)
  install(FILES "${CMAKE_CURRENT_LIST_DIR}/doc-base" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc-base" COMPONENT doc
          RENAME kestrova-doc.kestrova)
  debian_package(doc kestrova-doc doc ARCHITECTURE all DESCRIPTION
    "image-processing core of a photo editor (documentation)"
    "kestrova takes a photograph apart into luminance, chroma and scales of detail,"
    "changes them along the edges of the picture, and gives pixels and masks back."
    ""
    "This package contains the reference of the library and its guides as HTML.")
endif()

include(CPack)
