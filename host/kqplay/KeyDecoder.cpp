#include "KeyDecoder.h"

#include <algorithm>

namespace kqplay {
namespace {

constexpr char escape = 27;

struct Sequence {
    std::string_view text; ///< behind the Esc
    Command command;
};

/// Cursor keys in both modes of a terminal, and the codes that terminals use for Home and End.
constexpr Sequence sequences[] = {
    {"[D", Command::Back},    {"OD", Command::Back},    {"[C", Command::Ahead},    {"OC", Command::Ahead},
    {"[B", Command::FarBack}, {"OB", Command::FarBack}, {"[A", Command::FarAhead}, {"OA", Command::FarAhead},
    {"[H", Command::ToBegin}, {"OH", Command::ToBegin}, {"[1~", Command::ToBegin}, {"[7~", Command::ToBegin},
    {"[F", Command::ToEnd},   {"OF", Command::ToEnd},   {"[4~", Command::ToEnd},   {"[8~", Command::ToEnd},
};

Command CommandOfSequence(std::string_view text) {
    const auto* found = std::find_if(std::begin(sequences), std::end(sequences),
                                     [text](const Sequence& sequence) { return sequence.text == text; });
    return found == std::end(sequences) ? Command::None : found->command;
}

/// @return how many bytes the first key sent, 0 when more of them have to come
std::size_t KeyLength(std::string_view typed) {
    if (typed.front() != escape)
        return 1;
    if (typed.size() == 1)
        return 0;
    if (typed[1] == escape) // the key, twice
        return 1;
    if (typed[1] == 'O')
        return typed.size() < 3 ? 0 : 3;
    if (typed[1] != '[')
        return 2;
    for (std::size_t end = 2; end < typed.size(); ++end) {
        if (typed[end] >= '@' && typed[end] <= '~')
            return end + 1;
    }
    return 0;
}

} // namespace

std::vector<Command> KeyDecoder::Take(std::string_view typed, double now) {
    if (m_rest.empty() || !typed.empty())
        m_since = now;
    m_rest += typed;
    std::vector<Command> commands;
    while (!m_rest.empty()) {
        const std::size_t length = KeyLength(m_rest);
        if (length == 0)
            break;
        commands.push_back(length == 1 ? CommandOfKey(m_rest.front())
                                       : CommandOfSequence(std::string_view(m_rest).substr(1, length - 1)));
        m_rest.erase(0, length);
    }
    if (!m_rest.empty() && now - m_since >= patience) {
        if (m_rest.size() == 1)
            commands.push_back(CommandOfKey(escape));
        m_rest.clear();
    }
    return commands;
}

} // namespace kqplay
