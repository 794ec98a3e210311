// The manual page, the shell completion and the page in docs/ tell of every key and option there is.
#include "Kqplay.h"

#include <host/kqplay/Keys.h>

#include <regex>
#include <set>

using namespace kqtest;
using kqplay::KeyAction;

namespace {

using Words = std::set<std::string>;

std::string Source(const std::string& path) {
    return kq::test::ReadFile(KQPLAY_SOURCES "/" + path);
}

std::string Help() {
    return RunProcess({KQPLAY_PROGRAM, "--help"}).out;
}

/// @return what the pattern's group finds, in all places
Words FindAll(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    Words found;
    for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) {
        found.insert((*at)[1]);
    }
    return found;
}

/// @return the part of a document from one heading to the next
std::string Part(const std::string& text, const std::string& heading, const std::string& next) {
    const std::size_t begin = text.find(heading);
    return begin == std::string::npos ? "" : text.substr(begin, text.find(next, begin + 1) - begin);
}

/// @return the options that --help lists, both names of those that have two
Words Options() {
    const Words rows = FindAll(Help(), "\n +(-[^ ]+)");
    Words options;
    for (const std::string& row : rows) {
        options.merge(FindAll(row, "(--?[a-z][a-z-]*)"));
    }
    return options;
}

/// @return what the shell offers for a word, as one that has the completion does
Words Completed(const std::string& word) {
    const std::string script = "source \"$0\"; COMP_WORDS=(\"$1\" \"$2\"); COMP_CWORD=1; _kqplay \"$1\"; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    const std::string completion = KQPLAY_SOURCES "/packaging/kqplay.bash";
    const Outcome outcome = RunProcess({"bash", "-c", script, completion, KQPLAY_PROGRAM, word});
    EXPECT_EQ(outcome.err, "");
    const Strings lines = Lines(outcome.out);
    return {lines.begin(), lines.end()};
}

TEST(Documents, TellOfEveryOptionAndOfNoOther) {
    const Words options = Options();
    EXPECT_GT(options.size(), 20u);
    EXPECT_EQ(Completed("-"), options);
    const std::string manual = std::regex_replace(Part(Source("packaging/kqplay.1"), ".SH OPTIONS", "\n.SH "),
                                                  std::regex("\\\\-"), "-");
    EXPECT_EQ(FindAll(manual, "(?:^|[ \"\n])(--?[a-z][a-z-]*)"), options);
    const std::string rows = Part(Source("docs/kqplay.md"), "| option |", "\n\n");
    EXPECT_EQ(FindAll(rows, "[`](--?[a-z][a-z-]*)"), options);
}

TEST(Documents, TellOfEveryKeyInTheSameWordsAndOfNoOther) {
    std::string page =
        "## Keys\n\nThe same in the window and in the terminal that kqplay was started from.\n\n"
        "| key | what it does |\n|---|---|\n";
    std::string manual = ".SH KEYS\nThe same in the window and in the terminal.\n";
    std::string help = "Keys, in the window and in the terminal:\n";
    for (const KeyAction& action : kqplay::KeyActions()) {
        page += "| " + KeyNames(action, "`") + " | " + action.help + " |\n";
        manual += ".TP\n.B " + KeyNames(action) + "\n" + action.help + ".\n";
    }
    EXPECT_EQ(Part(Source("docs/kqplay.md"), "## Keys", "\nA click"), page);
    EXPECT_EQ(Part(Source("packaging/kqplay.1"), ".SH KEYS", ".SH EXIT"), manual);
    EXPECT_NE(Help().find(help + kqplay::DescribeKeys()), std::string::npos) << Help();
}

TEST(Documents, NoKeyDoesTwoThings) {
    std::set<int> keys;
    for (const KeyAction& action : kqplay::KeyActions()) {
        for (int key : action.keys) {
            EXPECT_TRUE(keys.insert(key).second) << KeyNames(action) << " is taken: " << action.help;
        }
    }
}

} // namespace
