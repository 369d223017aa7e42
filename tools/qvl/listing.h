// "qvl list": the registered surface as the host received it.
#pragma once

#include <ostream>

namespace qvltool {

// Each module, class, class extension and the global methods with its name
// and flags, then each method's declaration and flags, each property and
// each delegate.
void PrintSurface(std::ostream& out);

}  // namespace qvltool
