#include "api/Records.h"

#include <nlohmann/json.hpp>

#include <clocale>
#include <limits>
#include <string>
#include <string_view>
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

/// The library reads a number with the decimal point of the thread's locale; inside this scope it is a point.
class PointLocale
{
public:
    PointLocale() : point(newlocale(LC_ALL_MASK, "C", nullptr)), previous(uselocale(point)) {}
    ~PointLocale()
    {
        uselocale(previous);
        freelocale(point);
    }
    PointLocale(const PointLocale &) = delete;
    PointLocale &operator=(const PointLocale &) = delete;

private:
    const locale_t point;
    const locale_t previous;
};

/// The value of a JSON number that has a fraction or an exponent (RFC 8259, section 6), when it is an integer
/// of 64 bits. A binary floating-point number is never in between.
std::optional<qint64> exactInteger(std::string_view number)
{
    const size_t mark = std::min(number.find_first_of("eE"), number.size());
    std::string digits(number.substr(0, mark));
    qint64 exponent = 0;
    bool fits = true;
    if (mark < number.size())
        exponent = QByteArrayView(number.substr(mark + 1)).toInt(&fits);
    // A greater one makes the number infinite, which the library refuses, or stands behind zeros alone.
    if (!fits)
        exponent = std::numeric_limits<int>::min();
    if (const size_t point = digits.find('.'); point != std::string::npos) {
        exponent -= static_cast<qint64>(digits.size() - point - 1);
        digits.erase(point, 1);
    }
    for (; digits.ends_with('0'); digits.pop_back())
        ++exponent;
    if (digits.empty() || digits == "-")
        return 0;
    constexpr qint64 maximumDigits = 19;
    if (exponent < 0 || exponent > maximumDigits)
        return std::nullopt;
    digits.append(static_cast<size_t>(exponent), '0');
    const qint64 value = QByteArrayView(digits).toLongLong(&fits);
    return fits ? std::optional(value) : std::nullopt;
}

/// Builds the document from the parser's events. The library's own builder keeps no digits of a number,
/// searches an object at each key, and keeps values of any depth, which would let a reply of 16 MiB take more
/// than a gigabyte: here a list or an object that is too deep for every record stays empty.
class DocumentBuilder final : public nlohmann::json_sax<Json>
{
public:
    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(value); }
    bool number_unsigned(number_unsigned_t value) override
    {
        if (value > static_cast<number_unsigned_t>(std::numeric_limits<qint64>::max()))
            return add(static_cast<double>(value));
        return add(static_cast<number_integer_t>(value));
    }
    bool number_float(number_float_t value, const string_t &text) override
    {
        const std::optional<qint64> exact = exactInteger(text);
        return exact ? add(*exact) : add(value);
    }
    bool string(string_t &value) override { return add(std::move(value)); }
    bool binary(binary_t &) override { return false; }
    bool start_object(size_t) override { return open(Json::object()); }
    bool start_array(size_t) override { return open(Json::array()); }
    bool end_object() override
    {
        if (depth <= recordDepth)
            previousMembers = containers.back()->size();
        return close();
    }
    bool end_array() override { return close(); }
    bool key(string_t &name) override
    {
        if (depth > recordDepth)
            return true;
        auto &members = membersOf(*containers.back());
        // The objects of a list are alike.
        if (members.empty())
            members.reserve(previousMembers);
        members.emplace_back(std::move(name), nullptr);
        return true;
    }
    bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &error) override
    {
        // It quotes the text, however long that is.
        fault = std::string(error.what()).substr(0, maximumFaultLength);
        return false;
    }

    Json document;
    /// Empty where the text is JSON.
    std::string fault;

private:
    /// As the list that it is: the object's own functions would search it.
    static std::vector<Json::object_t::value_type> &membersOf(Json &object)
    {
        return object.get_ref<Json::object_t &>();
    }

    template<class Value>
    bool add(Value &&value)
    {
        if (depth > recordDepth)
            return true;
        if (containers.empty())
            latest = &document;
        else if (Json &parent = *containers.back(); parent.is_array())
            latest = &parent.get_ref<Json::array_t &>().emplace_back();
        else
            latest = &membersOf(parent).back().second;
        *latest = std::forward<Value>(value);
        return true;
    }

    bool open(Json empty)
    {
        add(std::move(empty));
        if (++depth <= recordDepth)
            containers.push_back(latest);
        return true;
    }

    bool close()
    {
        if (depth-- <= recordDepth)
            containers.pop_back();
        return true;
    }

    /// The open containers that are kept; none of them moves before it is closed.
    std::vector<Json *> containers;
    Json *latest = nullptr;
    size_t depth = 0;
    /// The number of members of the object that was closed last.
    size_t previousMembers = 0;
};

/// A value that a record cannot take; thrown through the readers, which add the path to it.
struct Fault
{
    QString path;
    QString text;

    void stepInto(const QString &step)
    {
        path = path.isEmpty() || path.startsWith(u'[') ? step + path : step + u'.' + path;
    }
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
        require(json.is_number_integer(), json, "an integer of 64 bits");
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
                fault.stepInto(u"[%1]"_s.arg(list.size() - 1));
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
                    fault.stepInto(QLatin1String(key));
                    throw;
                }
            });
    }
};

struct Writer
{
    template<class Value>
    static Json toJson(const Value &value)
    {
        if constexpr (std::is_arithmetic_v<Value>) {
            return value;
        } else {
            Json object = Json::object();
            Value::visitFields(value,
                               [&object](const char *key, const auto &field) { write(object, key, field); });
            return object;
        }
    }

    static Json toJson(const QString &text) { return text.toStdString(); }

    template<class Value>
    static Json toJson(const QList<Value> &list)
    {
        Json array = Json::array();
        for (const Value &element : list)
            array.push_back(toJson(element));
        return array;
    }

    template<class Value>
    static void write(Json &object, const char *key, const Value &value)
    {
        object[key] = toJson(value);
    }

    template<class Value>
    static void write(Json &object, const char *key, const std::optional<Value> &value)
    {
        if (value)
            write(object, key, *value);
    }
};

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
    const PointLocale locale;
    DocumentBuilder builder;
    if (!Json::sax_parse(json.constData(), json.constData() + json.size(), &builder))
        return decodingError(QString::fromStdString(builder.fault));
    Record record;
    try {
        Reader::read(builder.document, record);
    } catch (const Fault &fault) {
        return decodingError((fault.path.isEmpty() ? u"the reply"_s : fault.path) + u": "_s + fault.text);
    }
    return record;
}

template<class Record>
QByteArray encode(const Record &record)
{
    // A text may hold half a surrogate pair, which UTF-8 cannot carry.
    return QByteArray::fromStdString(
        Writer::toJson(record).dump(-1, ' ', false, Json::error_handler_t::replace));
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
