// getinfo/include/wlt/portrait.h: synthetic card portraits for the simulator's decks and the tests.
// They are drawn from simple shapes (a gradient, ellipses, a few curves), clearly artificial, and
// never derived from a photograph of anyone.
#pragma once

#include "wlt/codec.h"

namespace wlt {

// A head-and-shoulders figure of kPortraitWidth x kPortraitHeight pixels: background gradient,
// shoulders and collar, neck, ears, a shaded face, hair, brows, eyes, nose and mouth. The seed picks
// the colours (background, skin, hair, clothes, eyes), the proportions and the hair and collar
// styles; the same seed always gives the same picture.
Image synthetic_portrait(unsigned seed);

}  // namespace wlt
