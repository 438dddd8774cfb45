#include "line_input.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <exception>

#include <histedit.h>
#include <termios.h>
#include <unistd.h>

#include "candidates.h"
#include "terminal.h"

namespace kiv_shell {

namespace {

constexpr int most_remembered = 500;

// Control keys are read as characters, so that none of them stops or interrupts the shell while a
// line is edited.
constexpr const char *keys_as_characters = "-isig";

struct binding {
    const char *key;
    const char *function;
};

constexpr binding bindings[] = {
    {"^I", "kiv-complete"},
    {"?", "kiv-help"},
    {"^C", "kiv-drop"},
    {"^R", "em-inc-search-prev"},
    // The editor's own command line, which can start programs and rebind every key.
    {"\\ex", "ed-unassigned"},
    {"\\eX", "ed-unassigned"},
    {"\\e[H", "ed-move-to-beg"},
    {"\\e[F", "ed-move-to-end"},
    {"\\e[1~", "ed-move-to-beg"},
    {"\\e[4~", "ed-move-to-end"},
    {"\\e[7~", "ed-move-to-beg"},
    {"\\e[8~", "ed-move-to-end"},
    {"\\e[3~", "ed-delete-next-char"},
    {"\\e[1;5C", "em-next-word"},
    {"\\e[1;5D", "ed-prev-word"},
};

// Where the system has no UTF-8 locale, the editor takes these two for M-x and M-X.
constexpr const wchar_t *command_line_letters[] = {L"\u00F8", L"\u00D8"};

constexpr wchar_t escape = 0x1B;

// What follows the escape character, for the keys that do something.
constexpr std::wstring_view known_sequences[] = {
    L"[A", L"[B", L"[C",  L"[D",  L"[F",  L"[H",  L"OA",  L"OB",    L"OC",    L"OD",
    L"OF", L"OH", L"[1~", L"[3~", L"[4~", L"[7~", L"[8~", L"[1;5C", L"[1;5D",
};

bool is_known(std::wstring_view sequence)
{
    return std::find(std::begin(known_sequences), std::end(known_sequences), sequence) !=
           std::end(known_sequences);
}

// A second '[' is of the function keys of a console, and has one more character.
bool goes_on(std::wstring_view sequence)
{
    const wchar_t last = sequence.back();
    return sequence.size() == 1 || sequence == L"[[" || (last >= L' ' && last <= L'?');
}

bool is_control(wchar_t code)
{
    return code < L' ' || code == 0x7F;
}

// As the editor shows it: what cannot be printed as ^X, or as the number of the character.
size_t columns_of(wchar_t code, size_t column)
{
    constexpr size_t tab_stop = 8;
    if (code == L'\t')
        return tab_stop - column % tab_stop;
    if (const int width = wcwidth(code); width >= 0)
        return static_cast<size_t>(width);
    if (code < 0x100)
        return 2;
    return code > 0xFFFF ? std::string_view("\\U+12345").size()
                         : std::string_view("\\U+1234").size();
}

size_t columns_of(std::string_view text)
{
    size_t columns = 0;
    for (size_t at = 0; at < text.size(); at += character_length(text, at)) {
        const auto code = kiv::support::first_character(text.substr(at)).code;
        columns += columns_of(static_cast<wchar_t>(code), columns);
    }
    return columns;
}

struct ended {
    void operator()(EditLine *editor) const { el_end(editor); }
    void operator()(History *lines) const { history_end(lines); }
};

class edited_input : public line_input {
public:
    explicit edited_input(session &shell)
        : shell_(shell), history_(history_init()), editor_(el_init("kiv", stdin, stdout, stderr))
    {
    }

    // The editor would throw away what has been typed for the next program when it restores the
    // terminal's settings, so that is left to the terminal's guard.
    ~edited_input() override
    {
        if (editor_)
            el_set(editor_.get(), EL_EDITMODE, 0);
    }
    edited_input(const edited_input &) = delete;
    edited_input &operator=(const edited_input &) = delete;

    // False where the terminal cannot be used.
    bool set_up();

    outcome next(const std::string &prompt, std::string &line) override;
    const std::string &reason() const override { return reason_; }

private:
    using action = unsigned char (edited_input::*)();

    static edited_input &of(EditLine *editor);
    static char *give_prompt(EditLine *editor);
    static int give_character(EditLine *editor, wchar_t *character);
    template <action Action>
    static unsigned char act(EditLine *editor, int key) noexcept;

    void name_functions();
    void bind_interrupt_key();
    void remember(const std::string &line);
    outcome ended_without_line();

    unsigned char insert(const char *text);
    unsigned char complete();
    unsigned char help();
    unsigned char drop();

    int read_byte(char &into);
    int read_character(wchar_t &into);
    int read_sequence();
    int read_key();
    bool follow_terminal();
    void draw_again(const std::string &behind);
    std::string before_cursor() const;
    bool is_at_blank() const;
    candidates find() const;
    std::string lines_below() const;
    void show_below(const std::string &text);

    session &shell_;
    std::unique_ptr<History, ended> history_;
    std::unique_ptr<EditLine, ended> editor_;
    const input_wait *input_ = nullptr; // while there is a line to be had
    std::string prompt_;
    std::string reason_;
    std::wstring key_; // what the editor has not taken yet of the last key
    int read_error_ = 0;
    bool is_dropped_ = false;
};

edited_input &edited_input::of(EditLine *editor)
{
    void *data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<edited_input *>(data);
}

char *edited_input::give_prompt(EditLine *editor)
{
    return of(editor).prompt_.data();
}

// No exception can pass through the editor.
template <edited_input::action Action>
unsigned char edited_input::act(EditLine *editor, int) noexcept
try {
    return (of(editor).*Action)();
} catch (const std::exception &) {
    return CC_ERROR;
}

bool edited_input::set_up()
{
    EditLine *editor = editor_.get();
    HistEvent event;
    if (!history_ || editor == nullptr ||
        history(history_.get(), &event, H_SETSIZE, most_remembered) < 0 ||
        history(history_.get(), &event, H_SETUNIQUE, 1) < 0)
        return false;
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_PROMPT, give_prompt);
    el_set(editor, EL_HIST, history, history_.get());
    el_set(editor, EL_GETCFN, give_character);
    el_set(editor, EL_SETTY, "-d", keys_as_characters, nullptr);
    name_functions();
    for (const binding &row : bindings)
        el_set(editor, EL_BIND, row.key, row.function, nullptr);
    for (const wchar_t *letter : command_line_letters)
        el_wset(editor, EL_BIND, letter, L"ed-insert", nullptr);
    bind_interrupt_key();
    return true;
}

// In wide characters, for the editor keeps these names and would never free a copy.
void edited_input::name_functions()
{
    EditLine *editor = editor_.get();
    el_wset(editor, EL_ADDFN, L"kiv-complete", L"Complete the word", act<&edited_input::complete>);
    el_wset(editor, EL_ADDFN, L"kiv-help", L"Show what can come", act<&edited_input::help>);
    el_wset(editor, EL_ADDFN, L"kiv-drop", L"Drop the line", act<&edited_input::drop>);
}

void edited_input::bind_interrupt_key()
{
    termios settings;
    if (tcgetattr(STDIN_FILENO, &settings) != 0 || settings.c_cc[VINTR] == _POSIX_VDISABLE)
        return;
    const char key[] = {static_cast<char>(settings.c_cc[VINTR]), '\0'};
    el_set(editor_.get(), EL_BIND, key, "kiv-drop", nullptr);
}

line_input::outcome edited_input::next(const std::string &prompt, std::string &line)
{
    prompt_ = prompt;
    const input_wait input;
    input_ = &input;
    for (;;) {
        is_dropped_ = false;
        read_error_ = 0;
        follow_terminal();
        // Before the prompt, so that who answers that at once finds no terminal that echoes keys.
        el_set(editor_.get(), EL_PREP_TERM, 1);
        int length = 0;
        const char *text = el_gets(editor_.get(), &length);
        if (is_dropped_)
            continue;
        if (text == nullptr)
            return ended_without_line();
        line.assign(text, static_cast<size_t>(std::max(length, 0)));
        if (line.ends_with('\n'))
            line.pop_back();
        remember(line);
        return outcome::line;
    }
}

// A terminal that has gone away has nothing more to say.
line_input::outcome edited_input::ended_without_line()
{
    write_all(STDOUT_FILENO, "\n");
    if (read_error_ == 0 || read_error_ == EIO)
        return outcome::end;
    reason_ = system_failure("standard input", read_error_);
    return outcome::failed;
}

void edited_input::remember(const std::string &line)
{
    HistEvent event;
    if (line.find_first_not_of(" \t") != std::string::npos)
        history(history_.get(), &event, H_ENTER, line.c_str());
}

unsigned char edited_input::insert(const char *text)
{
    return el_insertstr(editor_.get(), text) == 0 ? CC_REFRESH : CC_ERROR;
}

unsigned char edited_input::complete()
{
    const candidates found = find();
    if (found.is_text)
        return insert("\t");
    std::string missing = completion(found);
    if (missing.ends_with(' ') && is_at_blank())
        missing.pop_back();
    if (!missing.empty())
        return insert(missing.c_str());
    if (found.list.empty())
        return CC_ERROR;
    show_below(help_text(found));
    return CC_NORM;
}

unsigned char edited_input::help()
{
    const candidates found = find();
    if (found.is_text)
        return insert("?");
    if (!found.error) {
        show_below(help_text(found));
        return CC_NORM;
    }
    write_all(STDOUT_FILENO, lines_below());
    shell_.report({}, before_cursor(), *found.error);
    draw_again({});
    return CC_NORM;
}

unsigned char edited_input::drop()
{
    is_dropped_ = true;
    write_all(STDOUT_FILENO, "^C" + lines_below());
    return CC_EOF;
}

int edited_input::give_character(EditLine *editor, wchar_t *character)
{
    edited_input &self = of(editor);
    while (self.key_.empty()) {
        const int count = self.read_key();
        if (count < 0)
            self.read_error_ = errno;
        if (count <= 0)
            return count;
    }
    *character = self.key_.front();
    self.key_.erase(0, 1);
    return 1;
}

// The editor would take the end of a sequence that it does not know for text, so none of one gets
// there: the key is empty then.
int edited_input::read_key()
{
    wchar_t code = 0;
    int count = read_character(code);
    key_.assign(count > 0 ? 1 : 0, code);
    while (count > 0 && code == escape)
        count = read_character(code);
    if (count <= 0 || key_.front() != escape)
        return count;
    key_ += code;
    return code == L'[' || code == L'O' ? read_sequence() : count;
}

// Up to its last character, which it may lack before a control key.
int edited_input::read_sequence()
{
    constexpr size_t longest_kept = 16;
    std::wstring sequence = key_.substr(1);
    while (goes_on(sequence)) {
        wchar_t code = 0;
        if (const int count = read_character(code); count <= 0)
            return count;
        if (is_control(code)) {
            key_.assign(1, code);
            return 1;
        }
        if (sequence.size() == longest_kept)
            sequence.pop_back();
        sequence += code;
    }
    key_ = is_known(sequence) ? escape + sequence : std::wstring();
    return 1;
}

// Bytes that are no character are dropped, and so is 0, which would end the line.
int edited_input::read_character(wchar_t &into)
{
    constexpr size_t longest_character = 4;
    char bytes[longest_character];
    for (size_t count = 0;; count %= longest_character) {
        char byte = 0;
        if (const int got = read_byte(byte); got <= 0)
            return got;
        const bool continues = (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
        count = continues ? count : 0;
        if (continues && count == 0)
            continue;
        bytes[count++] = byte;
        const auto found = kiv::support::first_character({bytes, count});
        if (found.length != 0 && found.code != 0) {
            into = static_cast<wchar_t>(found.code);
            return 1;
        }
    }
}

int edited_input::read_byte(char &into)
{
    for (;;) {
        if (!input_->wait()) {
            if (follow_terminal())
                draw_again("\r");
            continue;
        }
        const ssize_t count = read(STDIN_FILENO, &into, 1);
        if (count >= 0 || (errno != EAGAIN && errno != EINTR))
            return static_cast<int>(count);
    }
}

// Says whether the line has to be drawn again. The settings may be those of another program after
// the shell was stopped.
bool edited_input::follow_terminal()
{
    const bool is_resized = take_window_change();
    const bool is_back = take_resumption();
    if (is_resized)
        el_resize(editor_.get());
    if (is_back) {
        el_set(editor_.get(), EL_PREP_TERM, 0);
        el_set(editor_.get(), EL_PREP_TERM, 1);
    }
    return is_resized || is_back;
}

std::string edited_input::before_cursor() const
{
    const LineInfo *line = el_line(editor_.get());
    return {line->buffer, line->cursor};
}

bool edited_input::is_at_blank() const
{
    const LineInfo *line = el_line(editor_.get());
    return line->cursor != line->lastchar && *line->cursor == ' ';
}

candidates edited_input::find() const
{
    shell_.refresh_tree();
    return find_candidates(shell_.tree(), shell_.modes().current(), before_cursor());
}

// What moves from the cursor to the row below the line.
std::string edited_input::lines_below() const
{
    const LineInfo *line = el_line(editor_.get());
    const size_t columns = std::max(find_window_size().columns, 1U);
    const std::string text = prompt_ + std::string(line->buffer, line->lastchar);
    const size_t before = columns_of(prompt_ + before_cursor());
    const size_t all = columns_of(text);
    std::string moves;
    for (size_t row = before / columns; row <= all / columns; ++row)
        moves += "\r\n";
    return moves;
}

void edited_input::show_below(const std::string &text)
{
    draw_again(lines_below() + text);
}

// The editor takes the line for not yet drawn, and begins where the cursor is.
void edited_input::draw_again(const std::string &behind)
{
    write_all(STDOUT_FILENO, behind);
    el_set(editor_.get(), EL_REFRESH);
}

} // namespace

std::unique_ptr<line_input> open_edited_input(session &shell)
{
    // Lines are UTF-8, whatever the user's language is.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    auto input = std::make_unique<edited_input>(shell);
    if (!input->set_up())
        return {};
    return input;
}

} // namespace kiv_shell
