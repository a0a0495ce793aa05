// Umbrella header of the Corvane signal-processing library.
#pragma once

#include "math/VELAError.h"
#include "math/VELATypes.h"
#include "math/VELAMemory.h"
#include "math/Checksum.h"
#include "math/BaseVector.h"
#include "math/BaseMatrix.h"
#include "math/Vector.h"
#include "dsp/FT.h"
