/// @file
/// The object model's duties for an object with one interface.
#pragma once

#include <kqplayer/com.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace kq::streams {

/// Owns one reference.
struct Releaser {
    template <class Interface>
    void operator()(Interface* object) const {
        object->Release();
    }
};
template <class Interface>
using ComHandle = std::unique_ptr<Interface, Releaser>;

/// A counted object that answers IID_IUnknown and one identifier. It begins with one reference.
template <class Interface>
class ComObject : public Interface {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override {
        if (ppv == nullptr)
            return NullPointer;
        *ppv = nullptr;
        if (riid != IID_IUnknown && riid != m_identifier)
            return NoInterface;
        AddRef();
        *ppv = static_cast<Interface*>(this);
        return Ok;
    }

    std::uint32_t AddRef() override { return ++m_references; }

    std::uint32_t Release() override {
        const std::uint32_t left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    explicit ComObject(const _GUID& identifier) : m_identifier(identifier) {}
    virtual ~ComObject() = default;

private:
    const _GUID& m_identifier;
    std::atomic<std::uint32_t> m_references{1};
};

} // namespace kq::streams
