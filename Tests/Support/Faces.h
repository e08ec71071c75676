// Faces for tests.
#pragma once

#include "Host/Settings/Photo/Face.h"

namespace Orvexa::Test {

/// A face all of whose points are (x, y), in a rectangle of that pixel alone.
inline Proc::Face FaceAt(int x, int y) {
    using namespace Proc;
    const FaceItemBase item(Contour{{x, y}});
    const Eye eye(Contour(4, {x, y}));
    return Face(Outline(item.GetContour()), {item, item}, {item, item}, Eyes(eye, eye), Mouth(item, item),
                {{x, y}, {x + 1, y + 1}}, 0.5);
}

}  // namespace Orvexa::Test
