/* A callable that need not be copyable.
 *
 * Like std::function, but movable only, so that a callback may own what it needs. Calling an empty
 * one throws std::bad_function_call.
 *
 * Belongs to the thread that holds it.
 */
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace sdeventplus
{
namespace internal
{

template <typename Signature>
class UniqueFunction;

template <typename Result, typename... Args>
class UniqueFunction<Result(Args...)>
{
  public:
    UniqueFunction() = default;

    UniqueFunction(std::nullptr_t) {}

    template <typename Callable>
    requires(!std::same_as<std::decay_t<Callable>, UniqueFunction> &&
             std::is_invocable_r_v<Result, std::decay_t<Callable>&, Args...>)
        UniqueFunction(Callable&& callable)
        : target_(
              std::make_unique<Holder<std::decay_t<Callable>>>(std::forward<Callable>(callable)))
    {
    }

    Result operator()(Args... args)
    {
        if (!target_)
        {
            throw std::bad_function_call();
        }
        return target_->call(std::forward<Args>(args)...);
    }

    explicit operator bool() const
    {
        return static_cast<bool>(target_);
    }

  private:
    struct Target
    {
        virtual ~Target() = default;
        virtual Result call(Args... args) = 0;
    };

    template <typename Callable>
    struct Holder final : Target
    {
        explicit Holder(const Callable& from) : callable(from) {}
        explicit Holder(Callable&& from) : callable(std::move(from)) {}

        Result call(Args... args) override
        {
            return static_cast<Result>(std::invoke(callable, std::forward<Args>(args)...));
        }

        Callable callable;
    };

    std::unique_ptr<Target> target_;
};

} // namespace internal
} // namespace sdeventplus
