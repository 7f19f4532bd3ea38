#include "api/RecordCoding.h"

#include <nlohmann/json.hpp>

namespace velmora {

namespace {

using Json = nlohmann::ordered_json;

Json toJson(const void *value, const ValueType &type)
{
    switch (type.kind) {
    case ValueKind::Boolean:
        return *static_cast<const bool *>(value);
    case ValueKind::Integer:
        return *static_cast<const qint64 *>(value);
    case ValueKind::Float:
        return *static_cast<const double *>(value);
    case ValueKind::Text:
        return static_cast<const QString *>(value)->toStdString();
    case ValueKind::List: {
        Json list = Json::array();
        for (qsizetype index = 0; index < type.size(value); ++index)
            list.push_back(toJson(type.at(value, index), *type.element));
        return list;
    }
    case ValueKind::Record: {
        Json object = Json::object();
        for (const FieldType &field : type.fields) {
            if (const void *member = field.value(value))
                object[std::string(field.key)] = toJson(member, *field.type);
        }
        return object;
    }
    }
    return {};
}

} // namespace

QByteArray encodeFrom(const void *record, const ValueType &type)
{
    // A text may hold half a surrogate pair, which UTF-8 cannot carry.
    return QByteArray::fromStdString(
        toJson(record, type).dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace velmora
