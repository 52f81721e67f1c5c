#pragma once

#include <memory>
#include <utility>

#include "valuefault/Export.h"

namespace zarvo::exp {

class ChangeNotifier;

/// The handle of one callback given to ChangeNotifier::subscribe (reached through
/// CuratorStorage::subscribe or Curator::subscribe). Move-only; destroying or
/// resetting it ends the subscription. It does not keep the notifier alive: once the
/// storage or the curator is gone, resetting does nothing.
class ZARVO_EXPORT Subscription {
public:
    /// A handle of no subscription.
    Subscription() = default;
    /// Takes over other's subscription; other is left with none.
    Subscription(Subscription&& other) noexcept;
    /// Ends the own subscription, then takes over other's.
    Subscription& operator=(Subscription&& other) noexcept;
    /// Not copyable: one handle per subscription.
    Subscription(const Subscription&) = delete;
    /// Not assignable by copy, for the same reason.
    Subscription& operator=(const Subscription&) = delete;
    /// Ends the subscription.
    ~Subscription();

    /// Ends the subscription now; the callback is not called again, even later in a
    /// round being delivered. Does nothing on an empty handle or a gone notifier.
    void reset() noexcept;
    /// True while the handle holds a subscription whose notifier still exists.
    explicit operator bool() const noexcept;

private:
    friend class ChangeNotifier;
    Subscription(std::weak_ptr<ChangeNotifier> notifier, const void* listener)
        : m_notifier(std::move(notifier)), m_pListener(listener) {}

    std::weak_ptr<ChangeNotifier> m_notifier;
    const void* m_pListener = nullptr;
};

}  // namespace zarvo::exp
