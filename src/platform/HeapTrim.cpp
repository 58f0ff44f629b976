#include "HeapTrim.h"

#include <malloc.h>

namespace {

constexpr int pools = 2;

}  // namespace

void HeapTrim::limitPools() {
#ifdef M_ARENA_MAX
    mallopt(M_ARENA_MAX, pools);
#endif
}

void HeapTrim::returnFreeMemory() {
    malloc_trim(0);
}
