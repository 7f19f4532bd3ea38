// Feeds the decoders with input of any kind, and ends where the outcome is not one that they promise:
// velmora-fuzz [FLAGS] FOLDER…
#include "api/Records.h"
#include "platform/Log.h"

#include <nlohmann/json.hpp>

using namespace velmora;

namespace {

template<class Record>
void feed(const QByteArray &input)
{
    const Result<Record> record = decode<Record>(input);
    if (!record)
        return;
    const Result<Record> again = decode<Record>(encode(*record));
    if (!nlohmann::json::accept(input.begin(), input.end()) || !again || encode(*again) != encode(*record))
        fatalError(QStringLiteral("decoded what is no JSON, or not to what it says"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const char *data, size_t size)
{
    const QByteArray input(data, static_cast<qsizetype>(size));
    for (const auto decoder : {feed<Token>, feed<Response>, feed<ServiceResponse>, feed<FavServiceResponse>,
                               feed<EndpointConnectResponse>})
        decoder(input);
    return 0;
}
