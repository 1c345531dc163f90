// The cache of profile files, as the rest of the layer sees it. Guarded by the layer guard.
#pragma once

namespace nimboxi {

// Frees the cached profile: the next cached read goes to the disk.
void dropProfileCache();

}  // namespace nimboxi
