#include "command_session.h"

#include "answer.h"
#include "files.h"
#include "run.h"
#include "session.h"

namespace kiv_shell {

namespace {

constexpr std::string_view last_line = "END_KIV";
constexpr std::string_view xml_word = "xml-show";

class command_session {
public:
    command_session(const options &chosen, followed_tree &tree, configuration_store &store,
                    daemon_link &daemon)
        : shell_(chosen, tree.view(), store, {text_sink(answer_), text_sink(answer_)})
    {
        shell_.take_part(daemon, tree);
    }

    int run()
    {
        std::string line;
        for (;;) {
            const auto outcome = lines_.next(line);
            if (outcome == line_reader::outcome::failed)
                return give_up();
            if (outcome == line_reader::outcome::end || line == last_line)
                return status_done;
            if (lines_.length() == 0)
                continue;
            answer_.clear();
            if (!send(line, run_line(line)))
                return status_failed;
        }
    }

private:
    // What stands in the middle of a line cannot be skipped, but its sender waits for an answer.
    int give_up()
    {
        answer_.clear();
        shell_.report({}, lines_.reason());
        send({}, line_outcome::not_understood);
        return status_failed;
    }

    bool send(std::string_view line, line_outcome ended) const
    {
        const failure failed = stream_.send(line, answer_, ended);
        if (failed)
            complain(*failed);
        return !failed;
    }

    line_outcome run_line(std::string_view line)
    {
        word_reader words(line);
        word first;
        if (words.at_end() || words.peek(first) || first.quoted || first.text != xml_word)
            return shell_.run_line(line);
        words.skip_word();
        return switch_xml(line, words);
    }

    // A command of the session itself, in every mode and whatever the tree is.
    line_outcome switch_xml(std::string_view line, word_reader &words)
    {
        const size_t position = words.position();
        const std::string_view state = words.take_rest();
        if (state != "on" && state != "off") {
            shell_.report({}, line, {position, "expected: off, on"});
            return line_outcome::not_understood;
        }
        shell_.show_as_xml(state == "on");
        return line_outcome::done;
    }

    std::string answer_;
    session shell_;
    answer_stream stream_{STDOUT_FILENO};
    line_reader lines_{STDIN_FILENO, "standard input"};
};

} // namespace

int run_command_session(const options &chosen, followed_tree &tree, configuration_store &store,
                        daemon_link &daemon)
{
    return command_session(chosen, tree, store, daemon).run();
}

} // namespace kiv_shell
