#include "KeyDecoder.h"

#include "Keys.h"

#include <algorithm>

namespace kqplay {
namespace {

struct Sequence {
    std::string_view text; ///< behind the Esc
    int key;
};

/// Cursor keys in both modes of a terminal, and the codes that terminals use for Home and End.
constexpr Sequence sequences[] = {
    {"[D", KeyLeft}, {"OD", KeyLeft}, {"[C", KeyRight}, {"OC", KeyRight}, {"[B", KeyDown},  {"OB", KeyDown},
    {"[A", KeyUp},   {"OA", KeyUp},   {"[H", KeyHome},  {"OH", KeyHome},  {"[1~", KeyHome}, {"[7~", KeyHome},
    {"[F", KeyEnd},  {"OF", KeyEnd},  {"[4~", KeyEnd},  {"[8~", KeyEnd},
};

/// F1 to F9: those of most terminals, and the others for the first five.
constexpr std::string_view functionKeys[] = {"OP", "OQ", "OR", "OS", "[15~", "[17~", "[18~", "[19~", "[20~"};
constexpr std::string_view otherFunctionKeys[] = {"[11~", "[12~", "[13~", "[14~"};
constexpr std::string_view consoleFunctionKeys[] = {"[[A", "[[B", "[[C", "[[D", "[[E"};

/// @return the key of a file to compare with, 0 for none: Alt and a digit, or a function key
int FileKey(std::string_view text) {
    if (text.size() == 1 && text.front() >= '1' && text.front() <= '9') {
        return KeyFile1 + text.front() - '1';
    }
    const auto numberIn = [text](const auto& table) {
        const auto found = std::find(std::begin(table), std::end(table), text);
        return found == std::end(table) ? 0 : KeyFile1 + static_cast<int>(found - std::begin(table));
    };
    const int known = std::max(numberIn(functionKeys), numberIn(otherFunctionKeys));
    return std::max(known, numberIn(consoleFunctionKeys));
}

int KeyOfSequence(std::string_view text) {
    const auto* found = std::find_if(std::begin(sequences), std::end(sequences),
                                     [text](const Sequence& sequence) { return sequence.text == text; });
    return found == std::end(sequences) ? FileKey(text) : found->key;
}

/// Terminals differ in what they send for two of the keys.
int KeyOfCharacter(char character) {
    constexpr char otherBackspace = '\b';
    if (character == otherBackspace) {
        return KeyBackspace;
    }
    return character == '\r' ? static_cast<int>(KeyEnter) : static_cast<unsigned char>(character);
}

/// @return how many bytes the first key sent, 0 when more of them have to come
std::size_t KeyLength(std::string_view typed) {
    if (typed.front() != KeyEscape) {
        return 1;
    }
    if (typed.size() == 1) {
        return 0;
    }
    if (typed[1] == KeyEscape) { // the key, twice
        return 1;
    }
    if (typed[1] == 'O') {
        return typed.size() < 3 ? 0 : 3;
    }
    if (typed[1] != '[') {
        return 2;
    }
    if (typed.size() > 2 && typed[2] == '[') { // a function key of the Linux console
        return typed.size() < 4 ? 0 : 4;
    }
    for (std::size_t end = 2; end < typed.size(); ++end) {
        if (typed[end] >= '@' && typed[end] <= '~') {
            return end + 1;
        }
    }
    return 0;
}

} // namespace

std::vector<int> KeyDecoder::Take(std::string_view typed, double now) {
    if (m_rest.empty() || !typed.empty()) {
        m_since = now;
    }
    m_rest += typed;
    std::vector<int> keys;
    while (!m_rest.empty()) {
        const std::size_t length = KeyLength(m_rest);
        if (length == 0) {
            break;
        }
        keys.push_back(length == 1 ? KeyOfCharacter(m_rest.front())
                                   : KeyOfSequence(std::string_view(m_rest).substr(1, length - 1)));
        m_rest.erase(0, length);
    }
    if (!m_rest.empty() && now - m_since >= patience) {
        if (m_rest.size() == 1) {
            keys.push_back(KeyEscape);
        }
        m_rest.clear();
    }
    return keys;
}

} // namespace kqplay
