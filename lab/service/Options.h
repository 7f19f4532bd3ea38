#pragma once

#include <string>

namespace velmora::lab {

/// What the service is told on its command line, one `--name value` pair each.
struct Options
{
    std::string seed;                ///< file with the accounts and endpoints
    std::string database;            ///< SQLite file, made when missing
    std::string httpLog;             ///< file that gets a JSON object per request
    std::string faults;              ///< folder with a file per fault
    std::string address;             ///< where the API and the web site listen
    std::string port = "80";         ///< their port; 0 takes a free one
    std::string endpoints = "serve"; ///< "none" leaves the endpoints' port 443 alone
    std::string gateway;             ///< address handed out for the tunnel
    std::string sink;                ///< address that never answers
    std::string secrets;             ///< the gateway's file of secrets
    std::string swanctl;             ///< program that makes the gateway read it
    std::string vici;                ///< the gateway's control socket
    std::string ready;               ///< file that is made once the service listens, with the port in it
};

/// Throws std::runtime_error that names what is unknown or missing.
Options parseOptions(int argc, char **argv);

} // namespace velmora::lab
