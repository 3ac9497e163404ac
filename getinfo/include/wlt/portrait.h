// getinfo/include/wlt/portrait.h: synthetic card portraits for the simulator's decks and the tests.
// They are drawn from simple shapes (ellipses, a few curves) on plain white, clearly artificial, and
// never derived from a photograph of anyone.
#pragma once

#include "wlt/codec.h"

namespace wlt {

// A head-and-shoulders figure of kPortraitWidth x kPortraitHeight pixels on a pure white (255, 255,
// 255) background, as on an identity photo: shoulders and collar, neck, ears, a shaded face, hair,
// brows, eyes, nose and mouth. Whatever the seed, the figure stays below the top ten rows and,
// above the shoulders, away from the outer fourteen columns on either side. The seed picks the
// colours (skin, hair, clothes, eyes), the proportions and the hair and collar styles; the same seed
// always gives the same picture.
Image synthetic_portrait(unsigned seed);

}  // namespace wlt
