#pragma once

#include "http/qhttpserverrouterrule.h"
#include "http/viewtraits.h"

#include <memory>
#include <vector>

// The rules of one server, tried in the order in which they were added. Belongs to the server's
// thread.
class QHttpServerRouter
{
public:
    // Room for so many rules, and no more: there is a table for every connection.
    void reserve(std::size_t count)
    {
        m_rules.reserve(count);
    }

    // Adds a rule for a view of the type `View`. False, and nothing added, when the pattern does
    // not hold one "<arg>" for each QString that the view takes.
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

    // Forgets all rules and gives their memory back. Not from within a view.
    void clear()
    {
        std::vector<QHttpServerRouterRule>().swap(m_rules); // assigning nothing would keep the room
    }

    // True when a rule took the request; it has then been answered.
    [[nodiscard]] bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) const;

private:
    std::vector<QHttpServerRouterRule> m_rules;
};
