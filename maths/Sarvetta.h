#ifndef CORVANE_PELLIX_SARVETTA_SARVETTA_H
#define CORVANE_PELLIX_SARVETTA_SARVETTA_H

// Every type of the maths library. The float and double instantiations are
// compiled into libsarvetta; the headers declare them extern.
#include "quorvel/maths/TBox.h"
#include "quorvel/maths/TEdge3.h"
#include "quorvel/maths/TLine3.h"
#include "quorvel/maths/TMatrix3x3.h"
#include "quorvel/maths/TMatrix4x4.h"
#include "quorvel/maths/TPolygon.h"
#include "quorvel/maths/TQuaternion.h"
#include "quorvel/maths/TTriangle3.h"
#include "quorvel/maths/TVector3.h"
#include "quorvel/maths/TVector4.h"

#endif
