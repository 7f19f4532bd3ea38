#include "api/ExactInteger.h"
#include "api/RecordCoding.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using Json = nlohmann::json;

constexpr size_t maximumFaultLength = 300;

const char *nameOf(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Boolean:
        return "true or false";
    case ValueKind::Integer:
        return "an integer of 64 bits";
    case ValueKind::Float:
        return "a number";
    case ValueKind::Text:
        return "a text";
    case ValueKind::List:
        return "a list";
    case ValueKind::Record:
        return "an object";
    }
    return "";
}

/// Fills a record while the parser walks through the text, without a document in between.
///
/// A wrong value does not end the walk: a later value of the same key takes its place, and what is no JSON at
/// all further on is the graver fault. So each open record keeps the fault of each of its fields.
class RecordDecoder final : public nlohmann::json_sax<Json>
{
public:
    RecordDecoder(void *record, const ValueType &type) : root{record, &type} {}

    Result<> outcome() const
    {
        if (!syntaxFault.empty())
            return decodeError(syntaxFault);
        if (!rootFault.empty())
            return decodeError(rootFault);
        return Success{};
    }

    bool null() override
    {
        if (skipDepth > 0)
            return true;
        if (!frames.empty() && frames.back().type->kind == ValueKind::Record && currentField() != nullptr &&
            !currentField()->required) {
            currentField()->clear(frames.back().object);
            return true;
        }
        return wrong("null");
    }

    bool boolean(bool value) override
    {
        return scalar(ValueKind::Boolean, "a boolean", [value](void *slot) {
            *static_cast<bool *>(slot) = value;
            return true;
        });
    }

    bool number_integer(number_integer_t value) override { return integer(value); }

    bool number_unsigned(number_unsigned_t value) override
    {
        if (value <= static_cast<number_unsigned_t>(std::numeric_limits<qint64>::max()))
            return integer(static_cast<qint64>(value));
        return number(static_cast<double>(value), std::nullopt);
    }

    bool number_float(number_float_t value, const string_t &text) override
    {
        return number(value, exactInteger(text));
    }

    bool string(string_t &value) override
    {
        return scalar(ValueKind::Text, "a text", [&value](void *slot) {
            *static_cast<QString *>(slot) =
                QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
            return true;
        });
    }

    bool binary(binary_t &) override { return false; }

    bool start_object(size_t) override { return open(ValueKind::Record, "an object"); }
    bool start_array(size_t) override { return open(ValueKind::List, "a list"); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t &name) override
    {
        if (skipDepth > 0)
            return true;
        Frame &frame = frames.back();
        const auto fields = frame.type->fields;
        const size_t index = indexOf(name, frame);
        frame.position = index;
        if (index == fields.size())
            return true;
        const unsigned bit = 1U << index;
        if ((frame.seen & bit) != 0) {
            fields[index].clear(frame.object);
            std::erase_if(frame.faults, [index](const Fault &fault) { return fault.position == index; });
        }
        frame.seen |= bit;
        return true;
    }

    bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &error) override
    {
        if (syntaxFault.empty())
            // It quotes what stands there, however long that is.
            syntaxFault = std::string(error.what()).substr(0, maximumFaultLength);
        return false;
    }

private:
    struct Slot
    {
        void *object;
        const ValueType *type;
    };
    struct Fault
    {
        size_t position;
        std::string text;
    };
    struct Frame
    {
        void *object;
        const ValueType *type;
        /// Of a record: the index of the field whose value comes, the number of fields for an unknown key. Of
        /// a list: the index of the element that comes.
        size_t position = 0;
        unsigned seen = 0;
        std::vector<Fault> faults;
    };

    /// The index of the field with this key; the number of fields when there is none. Most records come in
    /// the order of their declaration.
    static size_t indexOf(std::string_view name, const Frame &frame)
    {
        const auto fields = frame.type->fields;
        const size_t next = frame.seen == 0 ? 0 : frame.position + 1;
        if (next < fields.size() && fields[next].key == name)
            return next;
        size_t index = 0;
        while (index < fields.size() && fields[index].key != name)
            ++index;
        return index;
    }

    static PlatformError decodeError(const std::string &text)
    {
        return {u"velmora-decoding"_s, 1, QString::fromStdString(text)};
    }

    const FieldType *currentField() const
    {
        const Frame &frame = frames.back();
        return frame.position < frame.type->fields.size() ? &frame.type->fields[frame.position] : nullptr;
    }

    /// What the type of the coming value has to be; null for an unknown key.
    const ValueType *expected() const
    {
        if (frames.empty())
            return root.type;
        if (frames.back().type->kind == ValueKind::List)
            return frames.back().type->element;
        const FieldType *field = currentField();
        return field != nullptr ? field->type : nullptr;
    }

    void *makeSlot()
    {
        if (frames.empty())
            return root.object;
        Frame &frame = frames.back();
        return frame.type->kind == ValueKind::List ? frame.type->append(frame.object)
                                                   : currentField()->emplace(frame.object);
    }

    void valueEnded()
    {
        if (!frames.empty() && frames.back().type->kind == ValueKind::List)
            ++frames.back().position;
    }

    template<class Assign>
    bool scalar(ValueKind kind, const char *found, Assign assign)
    {
        if (skipDepth > 0)
            return true;
        const ValueType *type = expected();
        if (type == nullptr)
            return true;
        if (type->kind != kind || !assign(makeSlot()))
            return wrong(found);
        valueEnded();
        return true;
    }

    bool integer(qint64 value) { return number(static_cast<double>(value), value); }

    bool number(double value, std::optional<qint64> exact)
    {
        const ValueType *type = skipDepth > 0 ? nullptr : expected();
        if (type != nullptr && type->kind == ValueKind::Integer)
            return scalar(ValueKind::Integer, "another number", [exact](void *slot) {
                *static_cast<qint64 *>(slot) = exact.value_or(0);
                return exact.has_value();
            });
        return scalar(ValueKind::Float, "a number", [value](void *slot) {
            *static_cast<double *>(slot) = value;
            return true;
        });
    }

    bool open(ValueKind kind, const char *found)
    {
        if (skipDepth > 0) {
            ++skipDepth;
            return true;
        }
        const ValueType *type = expected();
        if (type != nullptr && type->kind == kind) {
            frames.push_back({makeSlot(), type, 0, 0, {}});
            return true;
        }
        skipDepth = 1;
        return type == nullptr || wrong(found);
    }

    bool close()
    {
        if (skipDepth > 0) {
            --skipDepth;
            return true;
        }
        Frame ended = std::move(frames.back());
        if (ended.type->kind == ValueKind::Record)
            addMissing(ended);
        frames.pop_back();
        if (!ended.faults.empty())
            report(ended.faults.front().text);
        valueEnded();
        return true;
    }

    void addMissing(Frame &frame) const
    {
        const auto fields = frame.type->fields;
        for (size_t index = 0; index < fields.size(); ++index) {
            if (fields[index].required && (frame.seen & (1U << index)) == 0)
                frame.faults.push_back({index, path(std::string(fields[index].key)) + ": expected " +
                                                   nameOf(fields[index].type->kind) + ", found nothing"});
        }
    }

    /// The value that comes is not of the expected type.
    bool wrong(const char *found)
    {
        const ValueType *type = expected();
        if (type != nullptr) {
            report(path({}) + ": expected " + nameOf(type->kind) + ", found " + found);
            valueEnded();
        }
        return true;
    }

    /// Keeps the fault with the innermost open record or list, at its present position.
    void report(const std::string &text)
    {
        if (frames.empty())
            rootFault = text;
        else if (frames.back().type->kind == ValueKind::Record || frames.back().faults.empty())
            frames.back().faults.push_back({frames.back().position, text});
    }

    static void appendStep(std::string &way, std::string_view key)
    {
        if (!way.empty())
            way += '.';
        way += key;
    }

    /// The way from the root to the present value, then to `last` where it is given.
    std::string path(const std::string &last) const
    {
        std::string text;
        for (const Frame &frame : frames) {
            if (frame.type->kind == ValueKind::List)
                text.append("[").append(std::to_string(frame.position)).append("]");
            else if (&frame != &frames.back() || last.empty())
                appendStep(text, frame.type->fields[frame.position].key);
        }
        if (!last.empty())
            appendStep(text, last);
        return text.empty() ? "the reply" : text;
    }

    Slot root;
    std::vector<Frame> frames;
    /// How deep inside a value that is passed over.
    int skipDepth = 0;
    std::string rootFault;
    std::string syntaxFault;
};

} // namespace

Result<> decodeInto(void *record, const ValueType &type, const QByteArray &json)
{
    RecordDecoder decoder(record, type);
    Json::sax_parse(json.constData(), json.constData() + json.size(), &decoder);
    return decoder.outcome();
}

} // namespace velmora
