# Finds OpenCV's core and imgproc modules where only those two are installed, without OpenCV's own package
# configuration. Imported targets: KestrovaOpenCV::core, KestrovaOpenCV::imgproc. Installed beside kestrova's package
# configuration, so that users of the library find OpenCV in the same way.
find_path(KestrovaOpenCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
set(kestrova_opencv_libraries "")
foreach(module core imgproc)
  find_library(KestrovaOpenCV_${module}_LIBRARY opencv_${module})
  list(APPEND kestrova_opencv_libraries KestrovaOpenCV_${module}_LIBRARY)
endforeach()
mark_as_advanced(KestrovaOpenCV_INCLUDE_DIR ${kestrova_opencv_libraries})

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(KestrovaOpenCV REQUIRED_VARS ${kestrova_opencv_libraries} KestrovaOpenCV_INCLUDE_DIR)

if(KestrovaOpenCV_FOUND)
  foreach(module core imgproc)
    if(NOT TARGET KestrovaOpenCV::${module})
      add_library(KestrovaOpenCV::${module} UNKNOWN IMPORTED)
      set_target_properties(KestrovaOpenCV::${module} PROPERTIES
        IMPORTED_LOCATION "${KestrovaOpenCV_${module}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${KestrovaOpenCV_INCLUDE_DIR}")
    endif()
  endforeach()
endif()
unset(kestrova_opencv_libraries)
