#pragma once

// Keeps the memory the allocator holds but no longer uses from piling up in
// a long run. Video frames and encoded samples are allocated on one thread
// and freed on another, dozens of times a second; glibc keeps freed memory
// in a pool per thread that allocates, up to eight pools per core, and
// memory freed into one pool is not reused by threads of another. Resident
// memory then creeps up over hours with memory nobody uses. Two pools for
// the whole process, and handing free pages back after each recording,
// keep it flat.
namespace HeapTrim {

// Once, first thing in main, before any thread starts.
void limitPools();

// Hands free pages back to the system. Takes a few milliseconds with a large
// heap: call it off the main thread.
void returnFreeMemory();

}  // namespace HeapTrim
