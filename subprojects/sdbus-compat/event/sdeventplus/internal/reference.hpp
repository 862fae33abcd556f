/* One counted reference to an sd-event object.
 *
 * Copies add a reference of their own. A reference may also be lent: then it is not counted and
 * must not outlive its lender, but copies of it are counted again.
 *
 * Belongs to the thread of the event loop.
 */
#pragma once

#include <utility>

namespace sdeventplus
{
namespace internal
{

/// Marks a constructor that lends.
struct NoOwn
{
};

template <typename T, T* (*ref)(T*), T* (*unref)(T*)>
class Reference
{
  public:
    /// Takes the reference over.
    explicit Reference(T* object) noexcept : object_(object) {}

    Reference(const Reference& lender, NoOwn) noexcept : object_(lender.object_), counted_(false) {}

    Reference(const Reference& other) noexcept : object_(ref(other.object_)) {}

    Reference(Reference&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), counted_(other.counted_)
    {
    }

    Reference& operator=(Reference other) noexcept
    {
        std::swap(object_, other.object_);
        std::swap(counted_, other.counted_);
        return *this;
    }

    ~Reference()
    {
        if (counted_)
        {
            unref(object_);
        }
    }

    T* get() const noexcept
    {
        return object_;
    }

  private:
    T* object_;
    bool counted_ = true;
};

} // namespace internal
} // namespace sdeventplus
