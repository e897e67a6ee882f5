/// A callable value: a free function, a method of an object, or a functor.
///
/// The result comes last among the template arguments, and defaults to void:
///
///     FastDelegate2<const char*, const char*, bool> accept(&filter, &Filter::accepts);
///     if (accept && accept(path, name)) ...
///
/// Ownership: functors are copied in; the object of a bound method is not owned and must outlive
/// the delegate.
/// Errors: calling an empty delegate is a fault of the caller.
#pragma once

#include <cassert>
#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace fastdelegate {

template <typename Result, typename... Parameters>
class Delegate
{
public:
    Delegate() = default;
    Delegate(std::nullptr_t) {}
    template <typename Functor>
    requires(!std::same_as<std::remove_cvref_t<Functor>, Delegate> &&
             std::is_invocable_r_v<Result, Functor&, Parameters...>) Delegate(Functor&& functor)
        : function(std::forward<Functor>(functor))
    {
    }
    template <typename Object, typename Class>
    Delegate(Object* object, Result (Class::*method)(Parameters...))
    {
        bind(object, method);
    }
    template <typename Object, typename Class>
    Delegate(const Object* object, Result (Class::*method)(Parameters...) const)
    {
        bind(object, method);
    }

    template <typename Object, typename Class>
    void bind(Object* object, Result (Class::*method)(Parameters...))
    {
        function = [object, method](Parameters... parameters) -> Result {
            return (object->*method)(std::forward<Parameters>(parameters)...);
        };
    }
    template <typename Object, typename Class>
    void bind(const Object* object, Result (Class::*method)(Parameters...) const)
    {
        function = [object, method](Parameters... parameters) -> Result {
            return (object->*method)(std::forward<Parameters>(parameters)...);
        };
    }
    template <typename Functor>
    requires std::is_invocable_r_v<Result, Functor&, Parameters...>
    void bind(Functor&& functor) { function = std::forward<Functor>(functor); }
    void clear() { function = nullptr; }

    bool empty() const { return !function; }
    explicit operator bool() const { return !empty(); }

    Result operator()(Parameters... parameters) const
    {
        assert(!empty());
        return function(std::forward<Parameters>(parameters)...);
    }

private:
    std::function<Result(Parameters...)> function;
};

template <typename R = void>
using FastDelegate0 = Delegate<R>;
template <typename P1, typename R = void>
using FastDelegate1 = Delegate<R, P1>;
template <typename P1, typename P2, typename R = void>
using FastDelegate2 = Delegate<R, P1, P2>;
template <typename P1, typename P2, typename P3, typename R = void>
using FastDelegate3 = Delegate<R, P1, P2, P3>;

} // namespace fastdelegate
