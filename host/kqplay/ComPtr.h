/// @file
/// Owner of one reference on an interface.
#pragma once

#include <utility>

namespace kqplay {

/// Holds one reference and gives it back. Moves, never copies.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    /// Takes over the reference that @p pointer carries.
    explicit ComPtr(T* pointer) : m_pointer(pointer) {}
    ComPtr(ComPtr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() { Reset(); }

    void Reset() {
        if (T* old = std::exchange(m_pointer, nullptr))
            old->Release();
    }
    /// For calls that hand out an interface with one reference. Empties the holder first.
    T** Out() {
        Reset();
        return &m_pointer;
    }
    T* Get() const { return m_pointer; }
    T* operator->() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

private:
    T* m_pointer = nullptr;
};

} // namespace kqplay
