#pragma once

// What a compiler's blocks need of a runtime, as far as the stand-in goes.
#ifdef __cplusplus
extern "C" {
#endif

void* _Block_copy(const void* block);
void _Block_release(const void* block);

#ifdef __cplusplus
}
#endif

#define Block_copy(...) ((__typeof(__VA_ARGS__))_Block_copy((const void*)(__VA_ARGS__)))
#define Block_release(...) _Block_release((const void*)(__VA_ARGS__))
