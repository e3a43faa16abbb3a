#pragma once

#include "kestrova/rows/upwards.h"
