#pragma once

#include "platform/network/GLibCalls.h"
#include "platform/vpn/SystemNetworkProfile.h"

#include <QObject>

#include <deque>
#include <functional>
#include <optional>

namespace velmora {

class SystemNetworkClient;

/// Reads and writes the profile as the daemon keeps it on disk. Every handler runs exactly once, from the
/// event loop, unless this object goes first.
class SystemNetworkPreferences final : public QObject
{
    Q_OBJECT

public:
    using LoadHandler = std::function<void(const Result<std::optional<SystemNetworkProfile>> &)>;
    using SaveHandler = std::function<void(const Result<> &)>;

    explicit SystemNetworkPreferences(SystemNetworkClient &networkClient);

    /// A missing profile is a success without one.
    void load(LoadHandler handler);
    /// Adds the profile or replaces its contents. Saves are done one after another, so that two of them make
    /// one profile and the later wins.
    void save(const SystemNetworkProfile &profile, SaveHandler handler);
    /// Removes the profile; one that is missing is a success.
    void remove(SaveHandler handler);
    /// Opens the saved profile to all users, where it is private and its plugin does not promise to read a
    /// private profile's files as that user, which newer daemons insist on; fails otherwise.
    void widen(SaveHandler handler);

    /// Rises with each profile that has been saved.
    int revision() const { return saves; }

private:
    struct Save
    {
        SystemNetworkProfile profile;
        /// Absent where the profile keeps the scope that it has.
        std::optional<SystemNetworkProfile::Scope> scope;
        SaveHandler handler;
    };

    void enqueue(Save save);
    void beginSave();
    void write(SystemNetworkProfile::Scope scope);
    void add(GVariant *settings, SystemNetworkProfile::Scope scope);
    void written(SystemNetworkProfile::Scope scope, bool added, const Result<> &outcome);
    void finishSave(const Result<> &outcome);

    SystemNetworkClient &client;
    std::deque<Save> queue;
    int saves = 0;
    GLibCalls calls;
};

} // namespace velmora
