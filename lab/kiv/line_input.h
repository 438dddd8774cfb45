// Where command lines come from one by one.
#ifndef LAB_KIV_LINE_INPUT_H
#define LAB_KIV_LINE_INPUT_H

#include <memory>
#include <string>

#include "files.h"
#include "session.h"

namespace kiv_shell {

class line_input {
public:
    using outcome = line_reader::outcome;

    virtual ~line_input() = default;

    // The next line, without its end.
    virtual outcome next(const std::string &prompt, std::string &line) = 0;

    // Why next() failed.
    virtual const std::string &reason() const = 0;
};

// Standard input as it comes; with prompts where it is a terminal, which edits the lines then.
class plain_input : public line_input {
public:
    plain_input();

    outcome next(const std::string &prompt, std::string &line) override;
    const std::string &reason() const override { return lines_.reason(); }

private:
    static void await_line(const std::string &prompt);

    line_reader lines_{STDIN_FILENO, "standard input"};
    bool prompts_;
};

// Lines that are edited at the terminal, with history, completion and help from the session. Null
// where the terminal cannot do that.
std::unique_ptr<line_input> open_edited_input(session &shell);

} // namespace kiv_shell

#endif
