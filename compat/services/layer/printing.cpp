// Printing is not part of this build; its hooks do nothing.
#include "compat/services/layer/printing.h"

namespace nimboxi {

void startPrinting() {
}
void stopPrinting() {
}

}  // namespace nimboxi
