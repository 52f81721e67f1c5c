#include "core/datatypes/ChangeNotifier.h"

#include <algorithm>
#include <limits>

#include "valuefault/Exception.h"

namespace zarvo::exp {

namespace {

// The id under which subscribeAll's listeners are kept; no curator has it.
constexpr unsigned int kAllIds = std::numeric_limits<unsigned int>::max();

}  // namespace

ChangeNotifier::ChangeNotifier(unsigned int idCount) : m_byId(idCount), m_queued(idCount, 0) {}

ChangeNotifier::~ChangeNotifier() = default;

Subscription ChangeNotifier::subscribe(unsigned int id, Callback callback) {
    return add(m_byId.at(id), id, std::move(callback));
}

Subscription ChangeNotifier::subscribeAll(Callback callback) { return add(m_all, kAllIds, std::move(callback)); }

Subscription ChangeNotifier::add(Listeners& listeners, unsigned int id, Callback callback) {
    // A listener added during a round begins with the next one.
    listeners.push_back(std::make_unique<Listener>(Listener{std::move(callback), id, m_roundCount + 1, true}));
    ++m_listenerCount;
    return Subscription(weak_from_this(), listeners.back().get());
}

ChangeNotifier::Listeners& ChangeNotifier::listenersOf(unsigned int id) { return id == kAllIds ? m_all : m_byId[id]; }

void ChangeNotifier::unsubscribe(const void* listener) noexcept {
    Listeners& listeners = listenersOf(static_cast<const Listener*>(listener)->id);
    const auto found =
        std::find_if(listeners.begin(), listeners.end(),
                     [listener](const std::unique_ptr<Listener>& held) { return held.get() == listener; });
    if (found == listeners.end() || !(*found)->live) return;
    --m_listenerCount;
    // A callback being delivered may be the one unsubscribed, so while a round runs the
    // listener only goes quiet and is removed when delivery is over.
    if (m_delivering) {
        (*found)->live = false;
        m_pruneDue = true;
    } else {
        listeners.erase(found);
    }
}

void ChangeNotifier::queue(unsigned int id, Change change, bool due) {
    size_t& place = m_queued[id];
    if (place == 0) {
        m_queue.push_back({id, change, due});
        place = m_queue.size();
    } else if (due && !m_queue[place - 1].due) {
        m_queue[place - 1] = {id, change, due};
    }
}

void ChangeNotifier::endOperation(bool failed) {
    for (size_t at = m_operationStart; at < m_queue.size(); ++at) m_queued[m_queue[at].id] = 0;
    m_operationStart = m_queue.size();
    if (!m_delivering) deliver(failed);
}

void ChangeNotifier::deliver(bool failed) {
    // A callback may drop the last owner of this notifier (its storage); the round ends first.
    const std::shared_ptr<ChangeNotifier> keep = shared_from_this();
    m_delivering = true;
    std::exception_ptr first;
    for (unsigned int rounds = 0; !m_queue.empty(); ++rounds) {
        if (rounds == kMaxRounds) {
            // The loop: who was noticed last and who would be next.
            std::vector<unsigned int> ids;
            for (const std::vector<Notice>* notices : {&m_round, &m_queue})
                for (const Notice& notice : *notices)
                    if (std::find(ids.begin(), ids.end(), notice.id) == ids.end()) ids.push_back(notice.id);
            std::sort(ids.begin(), ids.end());
            m_queue.clear();
            m_operationStart = 0;
            try {
                std::ostringstream list;
                for (size_t at = 0; at < ids.size(); ++at) list << (at == 0 ? "" : ", ") << ids[at];
                ZARVO_THROW("Change notices did not settle after " << kMaxRounds << " rounds! IDs = " << list.str());
            } catch (const Exception&) {
                if (!first) first = std::current_exception();
            }
            break;
        }
        // What the callbacks of this round cause goes into the emptied queue: the next round.
        m_round.clear();
        m_round.swap(m_queue);
        m_operationStart = 0;
        ++m_roundCount;
        for (const Notice& notice : m_round) {
            if (!notice.due) continue;
            call(m_byId[notice.id], notice, first);
            call(m_all, notice, first);
        }
    }
    m_round.clear();
    m_delivering = false;
    if (m_pruneDue) {
        const auto quiet = [](const std::unique_ptr<Listener>& listener) { return !listener->live; };
        for (Listeners& listeners : m_byId)
            listeners.erase(std::remove_if(listeners.begin(), listeners.end(), quiet), listeners.end());
        m_all.erase(std::remove_if(m_all.begin(), m_all.end(), quiet), m_all.end());
        m_pruneDue = false;
    }
    if (first && !failed) std::rethrow_exception(first);
}

void ChangeNotifier::call(const Listeners& listeners, const Notice& notice, std::exception_ptr& first) {
    // Indexed, not iterated: a callback may subscribe to the same list. Listeners keep
    // their place in memory, and none is removed while a round runs.
    for (size_t at = 0; at < listeners.size(); ++at) {
        Listener& listener = *listeners[at];
        if (!listener.live || listener.firstRound > m_roundCount) continue;
        try {
            listener.callback(notice.id, notice.change);
        } catch (...) {
            if (!first) first = std::current_exception();
        }
    }
}

}  // namespace zarvo::exp
