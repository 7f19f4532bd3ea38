#pragma once

#include "api/Records.h"

#include <memory>

namespace velmora {

/// The home screen as list rows and notice screens need it.
class HomeScreen
{
public:
    virtual ~HomeScreen() = default;

    /// The home screen that loaded last; null before the first and after its end. Process-wide, because rows
    /// and notices live in other screens and windows than the one that they act on.
    static std::shared_ptr<HomeScreen> current() { return slot.lock(); }

    /// Takes the reply to a request of the endpoint list; an absent list changes nothing.
    virtual void servicesReply(const std::optional<QList<Service>> &services) = 0;
    virtual void showInstallModal() = 0;

protected:
    static void setCurrent(const std::weak_ptr<HomeScreen> &screen) { slot = screen; }

private:
    static inline std::weak_ptr<HomeScreen> slot;
};

} // namespace velmora
