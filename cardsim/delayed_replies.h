// Replies that a client gets later, by order, while others are served.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

template <class Reply> class delayed_replies
{
public:
    void add(std::uint32_t delay_ms, Reply&& reply)
    {
        m_replies.emplace(clock::now() + std::chrono::milliseconds(delay_ms), std::move(reply));
    }

    // The first one that fits is due now.
    template <class Fits> void hasten(Fits fits)
    {
        const auto found = std::ranges::find_if(m_replies, [&](const auto& one) { return fits(one.second); });
        if (found == m_replies.end())
            return;
        auto hastened = m_replies.extract(found);
        hastened.key() = {};
        m_replies.insert(std::move(hastened));
    }

    // Sends those that are due, or all of them.
    template <class Send> void send_due(Send send) { send_until(clock::now(), send); }
    template <class Send> void send_all(Send send) { send_until(clock::time_point::max(), send); }

    // How long poll may wait: until the next one is due, -1 when there is none.
    int timeout_ms() const
    {
        if (m_replies.empty())
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_replies.begin()->first - clock::now());
        return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }

private:
    using clock = std::chrono::steady_clock;

    template <class Send> void send_until(clock::time_point time, Send send)
    {
        while (!m_replies.empty() && m_replies.begin()->first <= time)
            send(m_replies.extract(m_replies.begin()).mapped());
    }

    std::multimap<clock::time_point, Reply> m_replies;
};
