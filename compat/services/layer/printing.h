// The printing service's hooks in the layer's start and end.
#pragma once

namespace nimboxi {

void startPrinting();
void stopPrinting();

}  // namespace nimboxi
