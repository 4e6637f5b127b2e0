#import <Foundation/Foundation.h>

#import <objc/blocks_runtime.h>

#include "tests/eventkit/stand-in/World.h"

#include <cstdlib>
#include <cstring>

// The runtime that the compiler's blocks call, in the layout of clang's Block-ABI-Apple document:
// blocks are copied to the heap with what they capture, counted, and released with it.

extern "C" {
void* _NSConcreteStackBlock[32];
void* _NSConcreteGlobalBlock[32];
void _Block_object_assign(void* destination, const void* object, int flags);
void _Block_object_dispose(const void* object, int flags);
}

namespace {

void* mallocBlock[32];

struct Descriptor {
    unsigned long reserved;
    unsigned long size;
    // Present when the block captures what is more than bytes.
    void (*copy)(void* destination, const void* source);
    void (*dispose)(const void* block);
};

struct Block {
    void* isa;
    int flags;
    int references;
    void (*invoke)(void);
    const Descriptor* descriptor;
};

constexpr int hasCopyDispose = 1 << 25;

enum Captured { object = 3, block = 7 };

// The C++ library of a Mac has no std::atomic_ref.
int changeReferences(Block& block, int by) {
    return __atomic_add_fetch(&block.references, by, __ATOMIC_SEQ_CST);
}

} // namespace

void* _Block_copy(const void* original) {
    auto* source = static_cast<Block*>(const_cast<void*>(original));
    if (source->isa == _NSConcreteGlobalBlock) {
        return source;
    }
    if (source->isa == mallocBlock) {
        changeReferences(*source, 1);
        return source;
    }
    auto* copy = static_cast<Block*>(std::malloc(source->descriptor->size));
    std::memcpy(static_cast<void*>(copy), source, source->descriptor->size);
    copy->isa = mallocBlock;
    copy->references = 1;
    if ((source->flags & hasCopyDispose) != 0) {
        source->descriptor->copy(copy, source);
    }
    quenbrook::standin::countBirth(copy, "block");
    return copy;
}

void _Block_release(const void* released) {
    auto* block = static_cast<Block*>(const_cast<void*>(released));
    if (block->isa != mallocBlock || changeReferences(*block, -1) > 0) {
        return;
    }
    quenbrook::standin::countDeath(block);
    if ((block->flags & hasCopyDispose) != 0) {
        block->descriptor->dispose(block);
    }
    std::free(block);
}

void _Block_object_assign(void* destination, const void* captured, int flags) {
    auto** slot = static_cast<const void**>(destination);
    switch (flags) {
    case object:
        *slot = [static_cast<id>(const_cast<void*>(captured)) retain];
        break;
    case block:
        *slot = _Block_copy(captured);
        break;
    default:
        // __block variables: nobody here has one.
        std::abort();
    }
}

void _Block_object_dispose(const void* captured, int flags) {
    switch (flags) {
    case object:
        [static_cast<id>(const_cast<void*>(captured)) release];
        break;
    case block:
        _Block_release(captured);
        break;
    default:
        std::abort();
    }
}
