#pragma once

#include "kestrova/image/tpimage.h"
