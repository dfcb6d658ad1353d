#pragma once

#include "http/qhttpserverrouterrule.h"
#include "http/viewtraits.h"

#include <memory>
#include <vector>

// The rules of one server, tried in the order in which they were added. To be used in the server's
// thread.
class QHttpServerRouter
{
public:
    // Allocates room for exactly this many rules: every connection has a table.
    void reserve(std::size_t count)
    {
        m_rules.reserve(count);
    }

    // Adds a rule for a view of the type `View`. Adds nothing and returns false when the pattern
    // does not contain one "<arg>" for each QString that the view takes.
    template <typename View>
    bool addRule(QHttpServerRouterRule &&rule)
    {
        if (rule.argumentCount() != http::ViewTraits<View>::pathArgumentCount) {
            return false;
        }
        m_rules.push_back(std::move(rule));
        return true;
    }

    template <typename View>
    bool addRule(std::unique_ptr<QHttpServerRouterRule> rule)
    {
        return addRule<View>(std::move(*rule));
    }

    [[nodiscard]] bool isEmpty() const
    {
        return m_rules.empty();
    }

    // Removes all rules and frees their memory. Not to be called from a view.
    void clear()
    {
        std::vector<QHttpServerRouterRule>().swap(m_rules); // clear() would keep the capacity
    }

    // True when a rule matched; the request has then been answered.
    [[nodiscard]] bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) const;

private:
    std::vector<QHttpServerRouterRule> m_rules;
};
