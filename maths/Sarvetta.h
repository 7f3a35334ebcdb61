#ifndef CORVANE_PELLIX_SARVETTA_SARVETTA_H
#define CORVANE_PELLIX_SARVETTA_SARVETTA_H

// Every type of the maths library. The float and double instantiations are
// compiled into libsarvetta; the headers declare them extern.
#include "maths/TBox.h"
#include "maths/TEdge3.h"
#include "maths/TLine3.h"
#include "maths/TMatrix3x3.h"
#include "maths/TMatrix4x4.h"
#include "maths/TPolygon.h"
#include "maths/TQuaternion.h"
#include "maths/TTriangle3.h"
#include "maths/TVector3.h"
#include "maths/TVector4.h"

#endif
