# Third-party packages, shared by the build and by find_package(workpiece).
find_package(OpenCASCADE REQUIRED CONFIG)
# The OCCT version file demands an exact match, so the minimum is checked by hand.
if(OpenCASCADE_MAJOR_VERSION LESS 7 OR (OpenCASCADE_MAJOR_VERSION EQUAL 7 AND OpenCASCADE_MINOR_VERSION LESS 6))
  message(FATAL_ERROR "OpenCASCADE 7.6 or newer is required, found ${OpenCASCADE_VERSION}")
endif()
find_package(jsoncpp REQUIRED CONFIG)
find_package(spdlog REQUIRED CONFIG)
find_package(simdjson REQUIRED CONFIG)
find_package(LibArchive REQUIRED)
find_package(Threads REQUIRED)
find_package(TBB REQUIRED CONFIG)

# OCCT targets carry no include path; this interface target supplies it as SYSTEM.
if(NOT TARGET workpiece_occt)
  add_library(workpiece_occt INTERFACE IMPORTED)
  target_include_directories(workpiece_occt SYSTEM INTERFACE ${OpenCASCADE_INCLUDE_DIR})
  target_link_libraries(workpiece_occt INTERFACE
    TKernel TKMath TKG2d TKG3d TKGeomBase TKBRep TKGeomAlgo TKTopAlgo TKPrim
    TKBO TKBool TKFillet TKOffset TKFeat TKShHealing TKMesh TKService TKV3d TKOpenGl
    TKXSBase TKSTEP TKSTEPBase TKSTEPAttr TKSTEP209 TKIGES)
endif()
