#pragma once

#include <libsoup/soup.h>

#include <string>

namespace velmora::lab {

/// Writes down every request as it was received, one JSON object per line:
/// time, method, path, headers (pairs, in order) and body.
class RequestLog
{
public:
    explicit RequestLog(std::string path);

    /// The line is in the file when this returns.
    void write(SoupServerMessage *message) const;

private:
    std::string m_path;
};

} // namespace velmora::lab
