# Holds that the shared library exports the documented interface and nothing else.
# Usage: cmake -DLIBRARY=libkestrova.so -DNM=nm -P exported_symbols.cmake
execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle "${LIBRARY}"
                OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)

# One operation of each documented class, and each documented function.
set(interface
  "Kestrova::toQDebug(" "Kestrova::m_tDebug_p" "TProgress::progress()" "TSize::isEmpty() const" "TPoint::TPoint("
  "TRect::origin() const" "TUpdateRect::setChanged(" "TImRegion::TImRegion("
  "TPImage::MatRoi(" "TPImage::m_count" "TPImage::m_lutFullToEdge_p" "TPImage::m_lutEdgeToFull_p"
  "downSize2X(" "downSizeNX(" "upSize2X(" "upSizeNX(" "extendBorder(" "upSize2XGuidedByYSimple("
  "TSpline::cubic_nak(" "TSpline::neville(" "TLut1D::apply(" "TLut1D::curve(" "TLut8U::setupLinearThreshold("
  "TLut16U::setupLinearThreshold(" "TLutY16U::applyYLUT(" "TLutYDrDb::applyCLUT("
  "vtable for TLutY16U" "typeinfo for TLutY16U" "vtable for TLutYDrDb" "typeinfo for TLutYDrDb"
  "TVelline::proc(" "TVelline::mixSMH(" "TVelline::computeYCurve(" "TVelline::merge2("
  "TColorAdjVL::proc(" "TColorAdjVL::mix(" "TColorAdjVL::get3DLUTIdx("
  "TWLSFilter::Proc(" "TWLSFilter::freemem()" "pardisoSolver("
  "TMaskParam::TMaskParam(" "TMaskCmd::" "TDrawMask::proc()" "TDrawMask::checkBoundary(")
foreach(name ${interface})
  string(FIND "${listing}" " ${name}" at)
  if(at EQUAL -1)
    message(SEND_ERROR "not exported: ${name}")
  endif()
endforeach()

# Every exported symbol begins with a name of the library's own.
string(REPLACE "\n" ";" lines "${listing}")
set(own "(Kestrova|T[A-Z][A-Za-z0-9]+|BilateralFilter|LocalLaplacian|ConvPyr)::|(down|up)Size[2N]X")
set(own "${own}|(extendBorder|filterGuidedByRGB|tFilterBox|blendAlpha|blendC|extremeSharpen)\\(")
set(own "${own}|(RGBtoYCM|YCMtoRGB|pardisoSolver)\\(")
set(own "${own}|(vtable|typeinfo|typeinfo name) for T[A-Z][A-Za-z0-9]+$")
foreach(line ${lines})
  if(line AND NOT line MATCHES "^[0-9a-f]+ [A-Za-z] (${own})")
    message(SEND_ERROR "leaks: ${line}")
  endif()
endforeach()
