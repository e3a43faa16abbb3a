#pragma once

/// \file
/// The whole exported interface of kestrova.

#include "kestrova/curves/tlut1d.h"
#include "kestrova/curves/tlut_tables.h"
#include "kestrova/curves/tlut_y.h"
#include "kestrova/curves/tspline.h"
#include "kestrova/detail/tcoloradjvl.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/conv_pyr.h"
#include "kestrova/filters/free_filters.h"
#include "kestrova/filters/guided_upsize.h"
#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/filters/twls_filter.h"
#include "kestrova/frame/geometry.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/tprogress.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/mask/tdrawmask.h"
#include "kestrova/resample/chroma_upsize.h"
#include "kestrova/resample/resample.h"
