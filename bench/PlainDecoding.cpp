#include "bench/PlainDecoding.h"

#include <nlohmann/json.hpp>

namespace velmora::bench {

namespace {

using Json = nlohmann::json;

class PlainDecoder final : public nlohmann::json_sax<Json>
{
public:
    QList<Service> services;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t value) override { return number(value); }
    bool number_unsigned(number_unsigned_t value) override { return number(static_cast<qint64>(value)); }
    bool number_float(number_float_t, const string_t &) override { return true; }
    bool string(string_t &value) override
    {
        QString text = QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
        if (field == "name")
            services.last().name = std::move(text);
        else if (field == "country")
            services.last().country = std::move(text);
        else if (field == "address")
            services.last().address = std::move(text);
        return true;
    }
    bool binary(binary_t &) override { return false; }
    bool start_object(size_t) override
    {
        if (depth++ > 0)
            services.emplaceBack();
        return true;
    }
    bool key(string_t &name) override
    {
        field.swap(name);
        return true;
    }
    bool end_object() override
    {
        --depth;
        return true;
    }
    bool start_array(size_t) override { return true; }
    bool end_array() override { return true; }
    bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &) override
    {
        return false;
    }

private:
    bool number(qint64 value)
    {
        if (field == "id")
            services.last().id = value;
        return true;
    }

    std::string field;
    int depth = 0;
};

} // namespace

QList<Service> plainlyDecoded(const QByteArray &json)
{
    PlainDecoder decoder;
    Json::sax_parse(json.constData(), json.constData() + json.size(), &decoder);
    return std::move(decoder.services);
}

} // namespace velmora::bench
