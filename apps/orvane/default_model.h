#pragma once
// The built-in model used when no model file is given: a square flange plate, 90 x 90 x 8,
// with a through hole (radius 5) near each corner and a round boss (radius 12, rising 17
// above the plate) in the middle, bored through (radius 6). Flat faces, cylinders and holes
// in one closed, consistently outward-oriented mesh of about 4,000 triangles. The plate's
// lower face lies at z = 0, centred on the z axis.
#include "model_io.h"

#include <memory>
#include <string>

namespace orvane {

// Name under which the tool reports the built-in model ("built-in part").
extern char const *const kDefaultModelName;
// File stem for default output names ("orvane-part").
extern char const *const kDefaultModelStem;

ModelData makeDefaultModel();

}  // namespace orvane
