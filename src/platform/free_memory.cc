#include "platform/free_memory.h"

#include <malloc.h>

namespace vantry {

void ReturnFreeMemory() {
  ::malloc_trim(0);
}

}  // namespace vantry
