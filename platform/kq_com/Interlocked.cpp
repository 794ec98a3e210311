#include <kqplayer/com.h>

std::int32_t InterlockedIncrement(std::int32_t* count) {
    return __atomic_add_fetch(count, 1, __ATOMIC_ACQ_REL);
}

std::int32_t InterlockedDecrement(std::int32_t* count) {
    return __atomic_sub_fetch(count, 1, __ATOMIC_ACQ_REL);
}
