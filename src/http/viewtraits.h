#pragma once

#include "http/qhttpserverrequest.h"

#include <QRegularExpressionMatch>
#include <QString>

#include <array>
#include <tuple>
#include <type_traits>
#include <utility>

namespace http {

// What a view takes, deduced from its call operator: path arguments as QString, the request as
// QHttpServerRequest, in any order.
template <typename Call>
struct CallTraits;

template <typename Class, typename Result, typename... Arguments>
struct CallTraits<Result (Class::*)(Arguments...) const>
{
    template <typename Argument>
    static constexpr bool isPathArgument = std::is_same_v<std::decay_t<Argument>, QString>;

    template <typename Argument>
    static constexpr bool isRequest = std::is_same_v<std::decay_t<Argument>, QHttpServerRequest>;

    static_assert(((isPathArgument<Arguments> || isRequest<Arguments>)&&...),
                  "a view takes QString and const QHttpServerRequest & only");

    static constexpr int pathArgumentCount = (0 + ... + (isPathArgument<Arguments> ? 1 : 0));

    template <typename View>
    static Result
    call(const View &view, const QRegularExpressionMatch &match, const QHttpServerRequest &request)
    {
        return callIndexed(view, match, request, std::index_sequence_for<Arguments...>());
    }

private:
    // The number of the capture that the argument at `index` takes; capture 0 is the whole path.
    static constexpr int captureOf(std::size_t index)
    {
        const std::array<bool, sizeof...(Arguments) + 1> takesPath = {isPathArgument<Arguments>...,
                                                                      false};
        int capture = 0;
        for (std::size_t i = 0; i <= index; ++i) {
            capture += takesPath[i] ? 1 : 0;
        }
        return capture;
    }

    template <typename View, std::size_t... Indexes>
    static Result callIndexed(const View &view,
                              [[maybe_unused]] const QRegularExpressionMatch &match,
                              [[maybe_unused]] const QHttpServerRequest &request,
                              std::index_sequence<Indexes...> /*indexes*/)
    {
        return view(argument<Arguments, Indexes>(match, request)...);
    }

    template <typename Argument, std::size_t Index>
    static decltype(auto) argument([[maybe_unused]] const QRegularExpressionMatch &match,
                                   [[maybe_unused]] const QHttpServerRequest &request)
    {
        if constexpr (isPathArgument<Argument>) {
            return match.captured(captureOf(Index));
        } else {
            return (request); // the reference, not a copy
        }
    }
};

template <typename View>
struct ViewTraits : CallTraits<decltype(&View::operator())>
{
};

} // namespace http
