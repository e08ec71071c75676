// Intrusive reference counting: the ownership model of every object that crosses the module boundary.
#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <utility>

namespace Orvexa::Core {

/// Root of all shared objects. An object is created with a count of zero; its first intrusive pointer makes it one, and
/// it is destroyed when the count drops back to zero. Counting is thread safe, the objects themselves are not.
class IRefCountable {
public:
    virtual ~IRefCountable() = default;
    virtual void AddRef() const = 0;
    virtual std::uint32_t GetRefCount() const = 0;
    virtual void Release() const = 0;

protected:
    IRefCountable() = default;
    IRefCountable(const IRefCountable&) = default;
    IRefCountable& operator=(const IRefCountable&) = default;
};

inline void intrusive_ptr_add_ref(const IRefCountable* object) { object->AddRef(); }
inline void intrusive_ptr_release(const IRefCountable* object) { object->Release(); }

/// The counter behind `IRefCountable`.
class RefCountImpl {
public:
    RefCountImpl() = default;
    RefCountImpl(const RefCountImpl&) noexcept {}  // a copy starts with its own holders
    RefCountImpl& operator=(const RefCountImpl&) noexcept { return *this; }

    void AddRefImpl() const noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    /// True when the last reference went away.
    bool ReleaseImpl() const noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    std::uint32_t GetRefCountImpl() const noexcept { return count_.load(std::memory_order_acquire); }

private:
    mutable std::atomic<std::uint32_t> count_{0};
};

/// Completes a class derived from `IRefCountable` with the counter; the most derived type of every shared object.
template <class Base>
class RefCounted final : public Base {
public:
    template <class... Args>
    explicit RefCounted(Args&&... args) : Base(std::forward<Args>(args)...) {}
    void AddRef() const override { refCount_.AddRefImpl(); }
    std::uint32_t GetRefCount() const override { return refCount_.GetRefCountImpl(); }
    void Release() const override {
        if (refCount_.ReleaseImpl()) delete this;
    }

private:
    RefCountImpl refCount_;
};

template <class T, class... Args>
boost::intrusive_ptr<T> MakeRefCounted(Args&&... args) {
    return boost::intrusive_ptr<T>(new RefCounted<T>(std::forward<Args>(args)...));
}

}  // namespace Orvexa::Core
