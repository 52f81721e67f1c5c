#include "core/datatypes/Subscription.h"

#include "core/datatypes/ChangeNotifier.h"

namespace zarvo::exp {

Subscription::Subscription(Subscription&& other) noexcept
    : m_notifier(std::move(other.m_notifier)), m_pListener(std::exchange(other.m_pListener, nullptr)) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        reset();
        m_notifier = std::move(other.m_notifier);
        m_pListener = std::exchange(other.m_pListener, nullptr);
    }
    return *this;
}

Subscription::~Subscription() { reset(); }

void Subscription::reset() noexcept {
    const void* listener = std::exchange(m_pListener, nullptr);
    if (const std::shared_ptr<ChangeNotifier> notifier = m_notifier.lock(); notifier && listener != nullptr)
        notifier->unsubscribe(listener);
    m_notifier.reset();
}

Subscription::operator bool() const noexcept { return m_pListener != nullptr && !m_notifier.expired(); }

}  // namespace zarvo::exp
