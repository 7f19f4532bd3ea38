#pragma once

#include <QList>
#include <QString>

#include <array>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>

/// What a record declares once, its keys in order with the members behind them, and what decoding and
/// encoding read.
///
/// A record states `template<> inline constexpr auto recordFields<Service> =
/// std::array{field<&Service::id>("id"), …};`. A member that is a `std::optional` is an optional field, any
/// other a required one.
namespace velmora {

enum class ValueKind { Boolean, Integer, Float, Text, List, Record };

struct FieldType;

/// How a value of one C++ type is reached through a `void *`.
struct ValueType
{
    ValueKind kind;
    /// Of a list: its elements.
    const ValueType *element = nullptr;
    void *(*append)(void *list) = nullptr;
    qsizetype (*size)(const void *list) = nullptr;
    const void *(*at)(const void *list, qsizetype index) = nullptr;
    /// Of a record: its fields.
    std::span<const FieldType> fields = {};
};

struct FieldType
{
    std::string_view key;
    bool required;
    const ValueType *type;
    /// Makes a field that is absent or empty hold a fresh value and returns it.
    void *(*emplace)(void *record);
    /// Makes an optional field absent, a required one empty.
    void (*clear)(void *record);
    /// The value, or null when it is absent.
    const void *(*value)(const void *record);
};

/// Specialised for each record, in the order of its fields.
template<class Record>
inline constexpr std::array<FieldType, 0> recordFields{};

namespace detail {

template<class T>
struct OptionalTraits
{
    static constexpr bool isOptional = false;
    using Value = T;
};
template<class T>
struct OptionalTraits<std::optional<T>>
{
    static constexpr bool isOptional = true;
    using Value = T;
};

template<class T>
struct ListTraits
{
    static constexpr bool isList = false;
};
template<class T>
struct ListTraits<QList<T>>
{
    static constexpr bool isList = true;
    using Element = T;
};

template<class T>
struct TypeOf
{
    static const ValueType value;
};

template<class T>
constexpr ValueType makeValueType()
{
    if constexpr (std::is_same_v<T, bool>) {
        return {.kind = ValueKind::Boolean};
    } else if constexpr (std::is_same_v<T, qint64>) {
        return {.kind = ValueKind::Integer};
    } else if constexpr (std::is_same_v<T, double>) {
        return {.kind = ValueKind::Float};
    } else if constexpr (std::is_same_v<T, QString>) {
        return {.kind = ValueKind::Text};
    } else if constexpr (ListTraits<T>::isList) {
        using Element = typename ListTraits<T>::Element;
        return {.kind = ValueKind::List,
                .element = &TypeOf<Element>::value,
                .append = [](void *list) -> void * { return &static_cast<T *>(list)->emplaceBack(); },
                .size = [](const void *list) { return static_cast<const T *>(list)->size(); },
                .at = [](const void *list, qsizetype index) -> const void * {
                    return &static_cast<const T *>(list)->at(index);
                }};
    } else {
        static_assert(recordFields<T>.size() > 0, "a record declares its fields");
        return {.kind = ValueKind::Record, .fields = recordFields<T>};
    }
}

template<class T>
constinit inline const ValueType TypeOf<T>::value = makeValueType<T>();

} // namespace detail

template<auto Pointer>
struct FieldOf;

template<class Record, class Member, Member Record::*Pointer>
struct FieldOf<Pointer>
{
    using Optional = detail::OptionalTraits<Member>;
    using Value = typename Optional::Value;

    static void *emplace(void *record)
    {
        Member &member = static_cast<Record *>(record)->*Pointer;
        if constexpr (Optional::isOptional)
            return &member.emplace();
        else
            return &member;
    }

    static void clear(void *record) { static_cast<Record *>(record)->*Pointer = Member{}; }

    static const void *value(const void *record)
    {
        const Member &member = static_cast<const Record *>(record)->*Pointer;
        if constexpr (Optional::isOptional)
            return member ? &*member : nullptr;
        else
            return &member;
    }
};

template<auto Pointer>
constexpr FieldType field(std::string_view key)
{
    using Of = FieldOf<Pointer>;
    return {key,
            !Of::Optional::isOptional,
            &detail::TypeOf<typename Of::Value>::value,
            Of::emplace,
            Of::clear,
            Of::value};
}

} // namespace velmora
