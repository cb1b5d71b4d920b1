// Memory that the program no longer needs goes back to the system.
#pragma once

namespace vantry {

// Gives back all pages that hold nothing any more. The allocator does so by itself only at the end of its heap, and
// after a rush of visitors something small always sits there. Takes about 0.1 s per gigabyte.
void ReturnFreeMemory();

}  // namespace vantry
