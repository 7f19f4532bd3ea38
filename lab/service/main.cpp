#include "Acceptor.h"
#include "Api.h"
#include "Database.h"
#include "Faults.h"
#include "Gateway.h"
#include "Options.h"
#include "RequestLog.h"
#include "Seed.h"
#include "WebServer.h"

#include <glib-unix.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <optional>
#include <string>

namespace {

void run(const velmora::lab::Options &options)
{
    using namespace velmora::lab;
    const Seed seed = readSeed(options.seed);
    Database database(options.database, seed);
    const Faults faults(options.faults);
    const RequestLog log(options.httpLog);
    Gateway gateway(options.secrets, options.swanctl, options.vici);
    Api api({seed, database, gateway, faults, options.gateway, options.sink});
    const WebServer server(options.address, static_cast<guint>(std::stoul(options.port)), api, log);
    std::optional<Acceptor> acceptor;
    if (options.endpoints != "none")
        acceptor.emplace();

    GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(
        SIGTERM,
        [](gpointer data) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop *>(data));
            return G_SOURCE_REMOVE;
        },
        loop);
    std::ofstream(options.ready) << server.port() << '\n';
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        run(velmora::lab::parseOptions(argc, argv));
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "velmora-lab-service: %s\n", problem.what());
        return 1;
    }
    return 0;
}
