/// @file
/// An owning interface pointer.
#pragma once

#include <utility>

/// Holds one reference on an interface, or null.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    /// Takes over a reference that the caller owns.
    static ComPtr Adopt(T* p) {
        ComPtr result;
        result.m_p = p;
        return result;
    }
    /// Adds a reference of its own.
    static ComPtr Share(T* p) {
        if (p != nullptr) {
            p->AddRef();
        }
        return Adopt(p);
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ComPtr(ComPtr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    ~ComPtr() { Reset(); }

    void Reset() {
        if (T* const p = std::exchange(m_p, nullptr)) {
            p->Release();
        }
    }
    T* Get() const { return m_p; }
    T* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};
