#include "PixelMemory.h"

#include <mutex>
#include <new>
#include <vector>

namespace kq::python {
namespace {

constexpr std::align_val_t boundary{64};
/// What is kept for the next pictures.
constexpr std::size_t mostBlocks = 4;
constexpr std::size_t mostBytes = std::size_t{64} << 20;

struct Stock {
    std::mutex lock;
    std::size_t blockBytes = 0; ///< of each
    std::vector<void*> blocks;
};

/// Never destroyed: arrays may outlive the library's statics.
Stock& TheStock() {
    static Stock* const instance = new Stock;
    return *instance;
}

void GiveBack(void* block, std::size_t bytes) {
    Stock& stock = TheStock();
    {
        const std::lock_guard guard(stock.lock);
        const bool fits = stock.blocks.size() < mostBlocks && (stock.blocks.size() + 1) * bytes <= mostBytes;
        if (bytes == stock.blockBytes && fits) {
            stock.blocks.push_back(block);
            return;
        }
    }
    ::operator delete(block, boundary);
}

void* Take(std::size_t bytes) {
    Stock& stock = TheStock();
    std::vector<void*> old;
    {
        const std::lock_guard guard(stock.lock);
        if (stock.blockBytes != bytes) {
            old.swap(stock.blocks);
            stock.blockBytes = bytes;
        } else if (!stock.blocks.empty()) {
            void* const block = stock.blocks.back();
            stock.blocks.pop_back();
            return block;
        }
    }
    for (void* block : old) {
        ::operator delete(block, boundary);
    }
    return ::operator new(bytes, boundary);
}

} // namespace

PixelBlock TakePixels(std::size_t bytes) {
    bytes = bytes > 0 ? bytes : 1;
    auto* const block = static_cast<std::uint8_t*>(Take(bytes));
    return {block, [bytes](std::uint8_t* taken) { GiveBack(taken, bytes); }};
}

} // namespace kq::python
