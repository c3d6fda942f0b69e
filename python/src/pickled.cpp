// SPDX-License-Identifier: Apache-2.0
#include "pickled.h"

#include "arguments.h"
#include "export/program_version.h"
#include "findings/findings.h"
#include "working_image.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Norvane::Python {
namespace {

/// Number of members of a record; 0 for other types. A number that does not fit its record does not compile.
template <class Value>
inline constexpr int kMembers = 0;
template <class First, class Second>
inline constexpr int kMembers<std::pair<First, Second>> = 2;
template <class Value>
inline constexpr int kMembers<Host::Sourced<Value>> = 2;
template <>
inline constexpr int kMembers<Host::PaddingRange> = 2;
template <>
inline constexpr int kMembers<Host::DisplayWindow> = 2;
template <>
inline constexpr int kMembers<Host::Header> = 21;
template <>
inline constexpr int kMembers<Host::SourceBox> = 4;
template <>
inline constexpr int kMembers<Host::SegForm> = 4;
template <>
inline constexpr int kMembers<Host::ImageSettings> = 7;
template <>
inline constexpr int kMembers<Host::PreparedImage> = 4;
template <>
inline constexpr int kMembers<Host::ColumnRun> = 2;
template <>
inline constexpr int kMembers<Host::RowRuns> = 2;
template <>
inline constexpr int kMembers<Host::FoundMask> = 2;
template <>
inline constexpr int kMembers<Host::FoundContour> = 3;
template <>
inline constexpr int kMembers<Host::RefinedMuscle> = 3;
template <>
inline constexpr int kMembers<Host::FoundMasks> = 9;
template <>
inline constexpr int kMembers<Host::NoiseTrial> = 4;
template <>
inline constexpr int kMembers<Host::Doubt> = 2;
template <>
inline constexpr int kMembers<Host::Findings> = 9;
template <>
inline constexpr int kMembers<WorkingImage> = 2;

template <class Record>
auto members_of(Record& record) {
    constexpr int kCount = kMembers<std::remove_const_t<Record>>;
    if constexpr (kCount == 2) {
        auto& [a, b] = record;
        return std::tie(a, b);
    } else if constexpr (kCount == 3) {
        auto& [a, b, c] = record;
        return std::tie(a, b, c);
    } else if constexpr (kCount == 4) {
        auto& [a, b, c, d] = record;
        return std::tie(a, b, c, d);
    } else if constexpr (kCount == 7) {
        auto& [a, b, c, d, e, f, g] = record;
        return std::tie(a, b, c, d, e, f, g);
    } else if constexpr (kCount == 9) {
        auto& [a, b, c, d, e, f, g, h, i] = record;
        return std::tie(a, b, c, d, e, f, g, h, i);
    } else {
        static_assert(kCount == 21);
        auto& [a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u] = record;
        return std::tie(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u);
    }
}

template <class Value>
concept IsRecord = kMembers<Value> >
0;
template <class Value>
concept IsPlain = std::is_arithmetic_v<Value>;
template <class Value>
concept IsEnumeration = std::is_enum_v<Value>;

/// Turns values into Python objects and back. A text becomes bytes, because it need not be UTF-8.
struct Archive {
    template <IsPlain Value>
    static py::object save(Value value) {
        return py::cast(value);
    }
    template <IsPlain Value>
    static void load(const py::handle& from, Value& value) {
        value = from.cast<Value>();
    }

    template <IsEnumeration Value>
    static py::object save(Value value) {
        return py::cast(static_cast<std::underlying_type_t<Value>>(value));
    }
    template <IsEnumeration Value>
    static void load(const py::handle& from, Value& value) {
        value = static_cast<Value>(from.cast<std::underlying_type_t<Value>>());
    }

    static py::object save(const std::string& text) { return py::bytes(text); }
    static void load(const py::handle& from, std::string& text) { text = from.cast<std::string>(); }

    template <class Value>
    static py::object save(const std::optional<Value>& value) {
        return value ? py::object(py::make_tuple(save(*value))) : py::none();
    }
    template <class Value>
    static void load(const py::handle& from, std::optional<Value>& value) {
        value.reset();
        if (!from.is_none()) load(py::object(from[py::int_(0)]), value.emplace());
    }

    template <class Values>
    static py::object save_all(const Values& values) {
        py::tuple saved(values.size());
        std::size_t at = 0;
        for (const auto& value : values) saved[at++] = save(value);
        return saved;
    }
    template <class Value>
    static py::object save(const std::vector<Value>& values) {
        return save_all(values);
    }
    template <class Value>
    static void load(const py::handle& from, std::vector<Value>& values) {
        values.clear();
        for (const py::handle& one : from) load(one, values.emplace_back());
    }
    template <class Value, std::size_t count>
    static py::object save(const std::array<Value, count>& values) {
        return save_all(values);
    }
    template <class Value, std::size_t count>
    static void load(const py::handle& from, std::array<Value, count>& values) {
        for (std::size_t i = 0; i < count; ++i) load(py::object(from[py::int_(i)]), values[i]);
    }
    template <class Key, class Value>
    static py::object save(const std::map<Key, Value>& values) {
        return save_all(values);
    }
    template <class Key, class Value>
    static void load(const py::handle& from, std::map<Key, Value>& values) {
        std::vector<std::pair<Key, Value>> pairs;
        load(from, pairs);
        values = {pairs.begin(), pairs.end()};
    }

    template <IsRecord Record>
    static py::object save(const Record& record) {
        return std::apply([](const auto&... members) -> py::object { return py::make_tuple(save(members)...); },
                          members_of(record));
    }
    template <IsRecord Record>
    static void load(const py::handle& from, Record& record) {
        std::apply(
            [&from](auto&... members) {
                int at = 0;
                (load(py::object(from[py::int_(at++)]), members), ...);
            },
            members_of(record));
    }

    static py::object save(const Host::Region& region) {
        return py::make_tuple(region.pixel_size_um(), save(region.rows()));
    }
    static void load(const py::handle& from, Host::Region& region) {
        const auto [micrometres, saved_rows] = from.cast<std::pair<float, py::object>>();
        std::vector<Host::RowRuns> rows;
        load(saved_rows, rows);
        region = Host::Region(std::move(rows), micrometres);
    }

    // 16-bit grey levels, which is what preparation makes.
    static py::object save(const std::unique_ptr<Image>& image) {
        return py::make_tuple(image->GetWidth(), image->GetHeight(), image->GetUsedBits(), image->GetPixelSize(),
                              py::bytes(reinterpret_cast<const char*>(image->GetBuffer()), image->BufferSize()));
    }
    static void load(const py::handle& from, std::unique_ptr<Image>& image) {
        const auto [width, height, used_bits, micrometres, bytes] =
            from.cast<std::tuple<unsigned, unsigned, unsigned, float, py::bytes>>();
        image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, width, height, true);
        image->SetUsedBits(used_bits);
        image->SetPixelSize(micrometres);
        take_bytes(bytes, image->GetBuffer(), image->BufferSize());
    }

    static py::object save(const Host::SourceImage& source) {
        return py::make_tuple(save(static_cast<const Host::Header&>(source)),
                              py::bytes(reinterpret_cast<const char*>(source.samples.data()),
                                        source.samples.size() * sizeof(std::uint16_t)));
    }
    static void load(const py::handle& from, Host::SourceImage& source) {
        const auto [header, bytes] = from.cast<std::pair<py::object, py::bytes>>();
        load(header, static_cast<Host::Header&>(source));
        Host::make_room(source);
        take_bytes(bytes, source.samples.data(), source.samples.size() * sizeof(std::uint16_t));
    }

private:
    static void take_bytes(const py::bytes& bytes, void* to, std::size_t expected) {
        const std::string_view given = bytes;
        if (given.size() != expected) refuse_value("the pickled image has a wrong size");
        std::copy(given.begin(), given.end(), static_cast<char*>(to));
    }
};

}  // namespace

template <class Value>
py::tuple state_of(const Value& value) {
    return py::make_tuple(Host::program_version(), Archive::save(value));
}

template <class Value>
std::shared_ptr<Value> from_state(const py::tuple& state) {
    const std::string version = text_of(state[0]);
    if (version != Host::program_version()) {
        refuse_value(
            fmt::format("the pickle was made by norvane {}, and this is norvane {}", version, Host::program_version()));
    }
    auto value = std::make_shared<Value>();
    Archive::load(py::object(state[1]), *value);
    return value;
}

template py::tuple state_of(const WorkingImage& value);
template py::tuple state_of(const Host::SourceImage& value);
template py::tuple state_of(const Host::Findings& value);
template std::shared_ptr<WorkingImage> from_state(const py::tuple& state);
template std::shared_ptr<Host::SourceImage> from_state(const py::tuple& state);
template std::shared_ptr<Host::Findings> from_state(const py::tuple& state);

}  // namespace Norvane::Python
