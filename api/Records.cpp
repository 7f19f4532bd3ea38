#include "api/Records.h"

#include <QScopeGuard>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// Its objects are lists of members, which is all that records of five fields need.
using Json = nlohmann::ordered_json;

/// The depth of the deepest value that a record has: a latency in the list of an endpoint in the list of a
/// reply.
constexpr size_t recordDepth = 4;
constexpr size_t maximumFaultLength = 300;

/// The value of a JSON number that has a fraction or an exponent (RFC 8259, section 6), when it is an integer
/// of 64 bits. A binary floating-point number is never in between.
std::optional<qint64> exactInteger(const std::string &number)
{
    /// Longer than any text is.
    constexpr long maximumExponent = 1'000'000'000;
    std::string digits = number.substr(0, number.find_first_of("eE"));
    long exponent = 0;
    if (digits.size() < number.size())
        exponent = std::clamp(std::strtol(number.c_str() + digits.size() + 1, nullptr, 10), -maximumExponent,
                              maximumExponent);
    if (const size_t point = digits.find('.'); point != std::string::npos) {
        exponent -= static_cast<long>(digits.size() - point - 1);
        digits.erase(point, 1);
    }
    for (; digits.ends_with('0'); digits.pop_back())
        ++exponent;
    if (digits.empty() || digits == "-")
        return 0;
    if (exponent < 0 || exponent > std::numeric_limits<qint64>::digits10)
        return std::nullopt;
    digits.append(static_cast<size_t>(exponent), '0');
    bool fits = false;
    const qint64 value = QByteArrayView(digits).toLongLong(&fits);
    return fits ? std::optional(value) : std::nullopt;
}

/// Builds the document from the parser's events. The library's own builder keeps no digits of a number and
/// values of any depth, which would let a reply of 16 MiB take more than a gigabyte; with a callback that
/// drops them it searches a list at the end of each of its elements. Here a list or an object that is too
/// deep for every record stays empty, and an object keeps each of two equal keys.
class DocumentBuilder final : public nlohmann::json_sax<Json>
{
public:
    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override { return add(value); }
    bool number_float(number_float_t value, const string_t &text) override
    {
        const std::optional<qint64> exact = exactInteger(text);
        return exact ? add(*exact) : add(value);
    }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t &) override { return false; }
    bool start_object(size_t) override { return open(Json::object()); }
    bool start_array(size_t) override { return open(Json::array()); }
    bool end_object() override { return --depth, true; }
    bool end_array() override { return --depth, true; }
    bool key(string_t &name) override
    {
        if (depth <= recordDepth)
            membersOf(*containers[depth]).emplace_back(std::move(name), nullptr);
        return true;
    }
    bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &error) override
    {
        // It quotes the text, however long that is.
        fault = std::string(error.what()).substr(0, maximumFaultLength);
        return false;
    }

    Json document;
    std::string fault;

private:
    /// As the list that it is: the object's own functions would search it.
    static std::vector<Json::object_t::value_type> &membersOf(Json &object)
    {
        return object.get_ref<Json::object_t &>();
    }

    Json &newValue()
    {
        if (depth == 0)
            return document;
        Json &parent = *containers[depth];
        return parent.is_array() ? parent.get_ref<Json::array_t &>().emplace_back()
                                 : membersOf(parent).back().second;
    }

    template<class Value>
    bool add(Value &&value)
    {
        if (depth <= recordDepth)
            newValue() = std::forward<Value>(value);
        return true;
    }

    bool open(Json empty)
    {
        if (depth <= recordDepth)
            containers[depth + 1] = &(newValue() = std::move(empty));
        ++depth;
        return true;
    }

    /// The open containers by their depth; none of them moves before it is closed.
    std::array<Json *, recordDepth + 2> containers{};
    size_t depth = 0;
};

/// A value that a record cannot take; thrown through the readers, which put the path in front.
struct Fault
{
    QString path;
    QString text;
};

struct Reader
{
    static void require(bool isRight, const Json &found, const char *expected)
    {
        if (!isRight)
            throw Fault{
                {},
                u"expected %1, found %2"_s.arg(QLatin1String(expected), QLatin1String(found.type_name()))};
    }

    static void read(const Json &json, bool &value)
    {
        require(json.is_boolean(), json, "true or false");
        value = json.get<bool>();
    }

    static void read(const Json &json, qint64 &value)
    {
        const bool fits = !json.is_number_unsigned() || std::in_range<qint64>(json.get<quint64>());
        require(json.is_number_integer() && fits, json, "an integer of 64 bits");
        value = json.get<qint64>();
    }

    static void read(const Json &json, double &value)
    {
        require(json.is_number(), json, "a number");
        value = json.get<double>();
    }

    static void read(const Json &json, QString &value)
    {
        require(json.is_string(), json, "a text");
        const auto &text = json.get_ref<const std::string &>();
        value = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
        // It takes the first one for a mark of the encoding.
        if (text.starts_with("\xef\xbb\xbf"))
            value.prepend(QChar::ByteOrderMark);
    }

    template<class Value>
    static void read(const Json &json, std::optional<Value> &value)
    {
        if (!json.is_null())
            read(json, value.emplace());
    }

    template<class Value>
    static void read(const Json &json, QList<Value> &list)
    {
        require(json.is_array(), json, "a list");
        list.reserve(static_cast<qsizetype>(json.size()));
        for (const Json &element : json) {
            try {
                read(element, list.emplaceBack());
            } catch (Fault &fault) {
                fault.path.prepend(u"[%1]"_s.arg(list.size() - 1));
                throw;
            }
        }
    }

    template<class Record>
    static void read(const Json &json, Record &record)
    {
        require(json.is_object(), json, "an object");
        Record::visitFields(
            record, [&members = json.get_ref<const Json::object_t &>()](const char *key, auto &field) {
                static const Json absent;
                const auto last = std::find_if(
                    members.rbegin(), members.rend(),
                    [wanted = std::string_view(key)](const auto &member) { return member.first == wanted; });
                try {
                    read(last != members.rend() ? last->second : absent, field);
                } catch (Fault &fault) {
                    fault.path.prepend(u'.' + QLatin1String(key));
                    throw;
                }
            });
    }
};

template<class Value>
Json toJson(const Value &value)
{
    if constexpr (std::is_arithmetic_v<Value>) {
        return value;
    } else if constexpr (std::is_same_v<Value, QString>) {
        return value.toStdString();
    } else if constexpr (requires { value.size(); }) {
        Json array = Json::array();
        for (const auto &element : value)
            array.push_back(toJson(element));
        return array;
    } else {
        Json object = Json::object();
        Value::visitFields(value, [&object](const char *key, const auto &field) {
            if constexpr (!requires { field.has_value(); })
                object[key] = toJson(field);
            else if (field)
                object[key] = toJson(*field);
        });
        return object;
    }
}

PlatformError decodingError(const QString &text)
{
    return {u"velmora-decoding"_s, 1, text};
}

} // namespace

template<class Record>
Result<Record> decode(const QByteArray &json)
{
    // The library takes it for the end of the text.
    if (json.contains('\0'))
        return decodingError(u"a NUL byte in the reply"_s);
    // The library reads a number with the decimal point of the thread's locale.
    static const locale_t pointLocale = newlocale(LC_NUMERIC_MASK, "C", nullptr);
    const auto restore = qScopeGuard([previous = uselocale(pointLocale)] { uselocale(previous); });
    DocumentBuilder builder;
    if (!Json::sax_parse(json.constData(), json.constData() + json.size(), &builder))
        return decodingError(QString::fromStdString(builder.fault));
    Record record;
    try {
        Reader::read(builder.document, record);
    } catch (const Fault &fault) {
        return decodingError((fault.path.isEmpty() ? u"the reply"_s : fault.path.mid(1)) + u": "_s +
                             fault.text);
    }
    return record;
}

template<class Record>
QByteArray encode(const Record &record)
{
    return QByteArray::fromStdString(toJson(record).dump());
}

#define VELMORA_CODED(Record)                                                                                \
    template Result<Record> decode(const QByteArray &);                                                      \
    template QByteArray encode(const Record &);
VELMORA_CODED(Service)
VELMORA_CODED(ServiceResponse)
VELMORA_CODED(FavServiceResponse)
VELMORA_CODED(EndpointConnectResponse)
VELMORA_CODED(Error)
VELMORA_CODED(Token)
VELMORA_CODED(Response)
#undef VELMORA_CODED

} // namespace velmora
