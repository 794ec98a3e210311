#include "TypedPlace.h"

#include "Keys.h"

#include <charconv>
#include <string_view>

namespace kqplay {
namespace {

/// Reads the whole of a text as a number. @return nothing for anything else
template <class Number>
std::optional<Number> ReadNumber(std::string_view text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    // from_chars knows signs, "inf" and "nan".
    const bool isPlain = text.find_first_not_of("0123456789.") == std::string_view::npos;
    return isPlain && error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<SoughtPlace> ReadPlace(const std::string& text) {
    std::string_view rest = text;
    SoughtPlace place;
    if (!rest.empty() && rest.front() == '#') {
        const auto number = ReadNumber<std::int64_t>(rest.substr(1));
        place.frame = number.value_or(-1);
        return number ? std::optional(place) : std::nullopt;
    }
    constexpr int mostParts = 3; // hours, minutes, seconds
    for (int part = 1;; ++part) {
        const std::size_t colon = rest.find(':');
        const bool isLast = colon == std::string_view::npos;
        const std::string_view digits = rest.substr(0, colon);
        const auto number = ReadNumber<double>(digits);
        if (!number || part > mostParts) {
            return std::nullopt;
        }
        constexpr double base = 60;
        place.seconds = place.seconds * base + *number;
        if (isLast) {
            return place;
        }
        rest.remove_prefix(colon + 1);
    }
}

std::optional<double> ReadTime(const std::string& text) {
    const auto place = ReadPlace(text);
    return place && place->frame < 0 ? std::optional(place->seconds) : std::nullopt;
}

void TypedPlace::Open() {
    m_open = true;
    m_text.clear();
}

TypedPlace::Typing TypedPlace::Take(int key) {
    constexpr std::size_t most = 20;
    if (key == KeyEnter || key == KeyEscape || (key == KeyBackspace && m_text.empty())) {
        m_open = false;
        return key == KeyEnter && !m_text.empty() ? Typing::Done : Typing::Left;
    }
    if (key == KeyBackspace) {
        m_text.pop_back();
    } else if (key > ' ' && key < KeyBackspace && m_text.size() < most) {
        m_text += static_cast<char>(key);
    }
    return Typing::Goes;
}

} // namespace kqplay
