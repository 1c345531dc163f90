// The resource function of the main module, and of any module that is built with it.
#pragma once

#include "nimboxi/modules.h"

extern "C" {

// Answers the layer, which calls it inside the call guard, as RESOURCE_FUNCTION: operation RESOURCE_FIND to
// RESOURCE_DETACH; any other gives 0. Every failure gives 0 or an empty text.
//   find         a: number, or name of raw data; b: type          the record, or 0
//   load         a: record                                        a resource handle, or 0
//   free         b: resource handle                               0
//   lock         b: resource handle                               its data
//   unlock       -                                                0
//   size         b: record                                        bytes
//   load string  a: id; b: buffer; c: its size in bytes           as LoadString
//   constant     -                                                2
//   highest id   b: type                                          the id
//   attach       a: module, whose file's resource block is read   0
//   detach       -                                                0
intptr_t OSresFunc(intptr_t operation, intptr_t a, intptr_t b, intptr_t c);
}
