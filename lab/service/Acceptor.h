#pragma once

#include "Handles.h"

namespace velmora::lab {

/// Accepts TCP connections on port 443 of every endpoint's address (all of
/// them are addresses of this host) and holds each until its peer closes it.
class Acceptor
{
public:
    /// Throws std::runtime_error when the port cannot be had.
    Acceptor();

private:
    static gboolean incomingCallback(GSocketService *service, GSocketConnection *connection, GObject *source,
                                     gpointer self);

    ObjectPtr<GSocketService> m_service;
};

} // namespace velmora::lab
