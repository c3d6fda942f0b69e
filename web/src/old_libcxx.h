// SPDX-License-Identifier: Apache-2.0
/// What the library uses of C++20 and libc++ before version 15, such as that of Debian 12's Emscripten, does not have.
/// The compiler includes it before every source file. It is empty with a newer library.
#pragma once

#include <version>
#if defined(_LIBCPP_VERSION) && _LIBCPP_VERSION < 15000

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

namespace std {

template <class To, class From>
To bit_cast(const From& from) noexcept {
    static_assert(sizeof(To) == sizeof(From));
    To to;
    memcpy(&to, &from, sizeof to);
    return to;
}

template <class Array>
unique_ptr<Array> make_unique_for_overwrite(size_t count) {
    return unique_ptr<Array>(new remove_extent_t<Array>[count]);
}

namespace ranges {

template <class In, class Out>
struct in_out_result {
    In in;
    Out out;
};

template <class Range, class Out>
auto copy(Range&& from, Out to) {
    const auto end = std::copy(std::begin(from), std::end(from), to);
    return in_out_result<decltype(std::end(from)), Out>{std::end(from), end};
}
template <class Range, class Out>
auto move(Range&& from, Out to) {
    return std::move(std::begin(from), std::end(from), to);
}
template <class Range, class Out, class Change>
auto transform(Range&& from, Out to, Change change) {
    const auto end = std::transform(std::begin(from), std::end(from), to, change);
    return in_out_result<decltype(std::end(from)), Out>{std::end(from), end};
}
template <class First, class Second, class Out, class Join>
auto transform(First&& first, Second&& second, Out to, Join join) {
    return std::transform(std::begin(first), std::end(first), std::begin(second), to, join);
}
template <class Range, class Value>
auto fill(Range&& range, const Value& value) {
    std::fill(std::begin(range), std::end(range), value);
    return std::end(range);
}
template <class Range>
void reverse(Range&& range) {
    std::reverse(std::begin(range), std::end(range));
}
template <class Range, class Out>
auto reverse_copy(Range&& from, Out to) {
    return std::reverse_copy(std::begin(from), std::end(from), to);
}

/// The rest takes a projection: what of an element is asked or compared.
template <class Question, class Part>
constexpr auto asked_of(Question& question, Part& part) {
    return [&](const auto& value) { return std::invoke(question, std::invoke(part, value)); };
}
template <class Order, class Part>
constexpr auto compared_by(Order& order, Part& part) {
    return [&](const auto& a, const auto& b) { return std::invoke(order, std::invoke(part, a), std::invoke(part, b)); };
}

template <class Range, class Question, class Part = identity>
auto find_if(Range&& range, Question question, Part part = {}) {
    return std::find_if(std::begin(range), std::end(range), asked_of(question, part));
}
template <class Range, class Question, class Part = identity>
auto count_if(Range&& range, Question question, Part part = {}) {
    return std::count_if(std::begin(range), std::end(range), asked_of(question, part));
}
template <class Range, class Question, class Part = identity>
bool any_of(Range&& range, Question question, Part part = {}) {
    return std::any_of(std::begin(range), std::end(range), asked_of(question, part));
}
template <class Range, class Question, class Part = identity>
bool all_of(Range&& range, Question question, Part part = {}) {
    return std::all_of(std::begin(range), std::end(range), asked_of(question, part));
}
template <class Range, class Order = std::less<>, class Part = identity>
void sort(Range&& range, Order order = {}, Part part = {}) {
    std::sort(std::begin(range), std::end(range), compared_by(order, part));
}
template <class Range, class Place, class Order = std::less<>, class Part = identity>
void nth_element(Range&& range, Place place, Order order = {}, Part part = {}) {
    std::nth_element(std::begin(range), place, std::end(range), compared_by(order, part));
}
template <class Range, class Order = std::less<>, class Part = identity>
constexpr bool is_sorted(Range&& range, Order order = {}, Part part = {}) {
    return std::is_sorted(std::begin(range), std::end(range), compared_by(order, part));
}
template <class Range, class Order = std::less<>, class Part = identity>
auto min_element(Range&& range, Order order = {}, Part part = {}) {
    return std::min_element(std::begin(range), std::end(range), compared_by(order, part));
}
template <class Range, class Order = std::less<>, class Part = identity>
auto max_element(Range&& range, Order order = {}, Part part = {}) {
    return std::max_element(std::begin(range), std::end(range), compared_by(order, part));
}
template <class Range, class Order = std::less<>, class Part = identity>
auto min(Range&& range, Order order = {}, Part part = {}) {
    return *ranges::min_element(range, order, part);
}
template <class Range, class Value, class Order = std::less<>, class Part = identity>
auto lower_bound(Range&& range, const Value& value, Order order = {}, Part part = {}) {
    return std::lower_bound(std::begin(range), std::end(range), value, [&](const auto& element, const Value& bound) {
        return std::invoke(order, std::invoke(part, element), bound);
    });
}
template <class Range, class Value, class Order = std::less<>, class Part = identity>
auto upper_bound(Range&& range, const Value& value, Order order = {}, Part part = {}) {
    return std::upper_bound(std::begin(range), std::end(range), value, [&](const Value& bound, const auto& element) {
        return std::invoke(order, bound, std::invoke(part, element));
    });
}

}  // namespace ranges
}  // namespace std

#endif
