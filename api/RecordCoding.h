#pragma once

#include "api/RecordType.h"
#include "platform/Result.h"

#include <QByteArray>

namespace velmora {

/// Decodes the JSON object `json` into the record of `type` behind `record`. On failure the record holds
/// rubbish.
Result<> decodeInto(void *record, const ValueType &type, const QByteArray &json);

QByteArray encodeFrom(const void *record, const ValueType &type);

/// Decodes a JSON object. The error's message names the path of the key and what was expected there.
///
/// Of a key that stands twice the last counts. An integer counts by the exact value of its digits, however it
/// is written (3.0, 1e2).
template<class Record>
Result<Record> decode(const QByteArray &json)
{
    Record record;
    const Result<> outcome = decodeInto(&record, detail::TypeOf<Record>::value, json);
    if (!outcome)
        return outcome.error();
    return record;
}

/// Compact JSON: each present field under its key, in the order of declaration.
template<class Record>
QByteArray encode(const Record &record)
{
    return encodeFrom(&record, detail::TypeOf<Record>::value);
}

} // namespace velmora
