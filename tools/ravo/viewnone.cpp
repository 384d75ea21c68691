// In place of the window where the command is built without SDL.
#include "failure.h"
#include "view.h"

namespace ravo {

void runView(const ViewOptions&) { throw Failure("this ravo has no window: it was built without SDL 2"); }

}  // namespace ravo
