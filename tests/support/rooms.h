#pragma once

// The library's internal names, as the tests call them.

namespace kestrova::curves {}
namespace kestrova::detail {}
namespace kestrova::filters {}
namespace kestrova::frame {}
namespace kestrova::image {}
namespace kestrova::rows {}
namespace kestrova::solver {}

using namespace kestrova::curves;
using namespace kestrova::detail;
using namespace kestrova::filters;
using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::rows;
using namespace kestrova::solver;
