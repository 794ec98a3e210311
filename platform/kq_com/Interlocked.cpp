#include <kqplayer/com.h>

std::int32_t InterlockedIncrement(std::int32_t* pCount) {
    return __atomic_add_fetch(pCount, 1, __ATOMIC_ACQ_REL);
}

std::int32_t InterlockedDecrement(std::int32_t* pCount) {
    return __atomic_sub_fetch(pCount, 1, __ATOMIC_ACQ_REL);
}
