#pragma once

#include <atomic>

#include <boost/intrusive_ptr.hpp>

namespace Quelto::Lumindra::Core {

// Root of every reference-counted interface of the platform (frames, effects, cores,
// engines). Interfaces derive from it virtually, so one object that implements several
// interfaces has one counter whichever interface a boost::intrusive_ptr holds.
// AddRef and Release are thread-safe.
class IRefCounted {
public:
    virtual void AddRef() const = 0;
    virtual void Release() const = 0;

protected:
    virtual ~IRefCounted() = default;
};

inline void intrusive_ptr_add_ref(const IRefCounted* p) { p->AddRef(); }
inline void intrusive_ptr_release(const IRefCounted* p) { p->Release(); }

// Implementation of the counter; concrete classes derive from it and from their interfaces.
class RefCounted : public virtual IRefCounted {
public:
    void AddRef() const override { count_.fetch_add(1, std::memory_order_relaxed); }
    void Release() const override
    {
        if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    int UseCount() const { return count_.load(std::memory_order_acquire); }

protected:
    RefCounted() = default;
    RefCounted(const RefCounted&) : IRefCounted() {}
    RefCounted& operator=(const RefCounted&) { return *this; }
    ~RefCounted() override = default;

private:
    mutable std::atomic<int> count_ {0};
};

} // namespace Quelto::Lumindra::Core
