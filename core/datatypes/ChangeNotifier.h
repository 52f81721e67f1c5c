#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <vector>

#include "core/datatypes/Subscription.h"
#include "valuefault/Export.h"

namespace zarvo::exp {

/// The change notices of a CuratorStorage, or of one Curator on its own. Curators
/// note what happened to them while an operation runs; the notices are delivered to
/// the subscribed callbacks once the outermost operation has finished, so that no
/// callback ever sees a half-done walk.
///
/// - Each id is noticed once per operation, at the place where the operation first
///   reached it, with what first happened to it there.
/// - A callback may call anything on the storage or curator, subscribe and
///   unsubscribe included. The notices that causes are queued for the next round,
///   not delivered by recursion; after kMaxRounds rounds that still leave notices,
///   delivery ends with an Exception naming their ids.
/// - A callback that throws does not stop the others: every callback of the round
///   runs, and the first exception reaches the caller once delivery is over. When
///   the operation failed itself, its own exception is the one the caller sees.
/// - Per notice, the callbacks of its id run before those of subscribeAll, each set
///   in the order of subscribing. A callback subscribed while a round is delivered
///   hears from the next round on; one unsubscribed is never called again.
///
/// No lock and no thread: everything runs on the caller's thread inside its call.
/// Without subscribers an operation costs a counter and a test.
class ZARVO_EXPORT ChangeNotifier : public std::enable_shared_from_this<ChangeNotifier> {
public:
    /// What happened to a curated value.
    enum class Change {
        Set,          ///< a value was admitted by set()
        Invalidated,  ///< the cached value was dropped by invalidate() or by a walk
        Refused,      ///< a set() was refused, and the curator emptied
    };
    /// Receives the id of the curator and what happened to it.
    using Callback = std::function<void(unsigned int id, Change change)>;
    /// Rounds delivered before a loop of callbacks that keeps causing notices is given up.
    static constexpr unsigned int kMaxRounds = 100;

    /// Notices for the ids 0 to idCount - 1.
    explicit ChangeNotifier(unsigned int idCount);
    /// Forgets all subscriptions; their handles then do nothing.
    ~ChangeNotifier();
    /// Not copyable: handles and curators refer to this one.
    ChangeNotifier(const ChangeNotifier&) = delete;
    /// Not assignable, for the same reason.
    ChangeNotifier& operator=(const ChangeNotifier&) = delete;

    /// Calls callback with every notice of id (below idCount) until the handle ends.
    Subscription subscribe(unsigned int id, Callback callback);
    /// Calls callback with every notice until the handle ends.
    Subscription subscribeAll(Callback callback);

    /// Brackets one operation: notices noted inside are delivered by close(), or, if
    /// the bracket ends without close() because an exception passes, by the
    /// destructor, which lets no callback's exception out. Brackets nest; only the
    /// outermost delivers.
    class Operation {
    public:
        /// Opens the bracket; a null notifier makes it do nothing.
        explicit Operation(ChangeNotifier* notifier) noexcept : m_pNotifier(notifier) {
            if (m_pNotifier != nullptr) ++m_pNotifier->m_depth;
        }
        /// Not copyable: one bracket, one close.
        Operation(const Operation&) = delete;
        /// Not assignable, for the same reason.
        Operation& operator=(const Operation&) = delete;
        /// Ends a failed operation: delivers what was noted, keeping the callbacks' exceptions in.
        ~Operation() {
            if (m_pNotifier != nullptr) m_pNotifier->close(true);
        }
        /// Ends a finished operation: delivers what was noted; throws the first exception of a callback.
        void close() {
            ChangeNotifier* notifier = m_pNotifier;
            m_pNotifier = nullptr;
            if (notifier != nullptr) notifier->close(false);
        }

    private:
        ChangeNotifier* m_pNotifier;
    };

    /// Notes that change happened to id in the current operation.
    void note(unsigned int id, Change change) {
        if (m_listenerCount != 0) queue(id, change, true);
    }
    /// Takes id's place in the order now, for a change that note() may confirm later
    /// in the operation; unconfirmed, it is delivered to no one.
    void reserve(unsigned int id) {
        if (m_listenerCount != 0) queue(id, Change::Set, false);
    }

private:
    friend class Subscription;
    struct Listener {
        Callback callback;
        unsigned int id;
        unsigned long long firstRound;
        bool live;
    };
    using Listeners = std::vector<std::unique_ptr<Listener>>;
    struct Notice {
        unsigned int id;
        Change change;
        bool due;
    };

    // Depth back to 0 ends the outermost operation; only then is there work.
    void close(bool failed) {
        if (--m_depth == 0 && !m_queue.empty()) endOperation(failed);
    }
    ZARVO_NO_EXPORT void endOperation(bool failed);
    ZARVO_NO_EXPORT void queue(unsigned int id, Change change, bool due);
    ZARVO_NO_EXPORT void deliver(bool failed);
    ZARVO_NO_EXPORT void call(const Listeners& listeners, const Notice& notice, std::exception_ptr& first);
    ZARVO_NO_EXPORT Subscription add(Listeners& listeners, unsigned int id, Callback callback);
    void unsubscribe(const void* listener) noexcept;
    ZARVO_NO_EXPORT Listeners& listenersOf(unsigned int id);

    std::vector<Listeners> m_byId;
    Listeners m_all;
    size_t m_listenerCount = 0;
    // Notices of the operations since the last round began, in order; per id, one
    // more than its place there while the current operation runs, else 0.
    std::vector<Notice> m_queue;
    std::vector<size_t> m_queued;
    size_t m_operationStart = 0;
    // The round being delivered, and the count of all rounds begun.
    std::vector<Notice> m_round;
    unsigned long long m_roundCount = 0;
    unsigned int m_depth = 0;
    bool m_delivering = false;
    bool m_pruneDue = false;
};

}  // namespace zarvo::exp
