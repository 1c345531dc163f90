// A library that is built with the service's resource function; a test puts a resource block at the end of a
// copy of its file. The layer that the function calls is that of the program which loads it.
#include "service/resources/resource_function.h"

// Has the linker take the resource function in. Asked through this reference the loading program's own
// function may answer; the layer asks the library's.
extern "C" RESOURCE_FUNCTION keepResourceFunction() {
  return OSresFunc;
}
