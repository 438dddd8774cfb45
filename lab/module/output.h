#ifndef LAB_MODULE_OUTPUT_H
#define LAB_MODULE_OUTPUT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace kiv::module {

struct freed {
    void operator()(void *block) const { std::free(block); }
};

// What a command has printed, as far as it has not been fetched.
class output {
public:
    output() = default;
    output(int32_t result, char *text, size_t size) : result_(result), text_(text), size_(size) {}

    int32_t result() const { return result_; }
    std::string_view rest() const { return {text_.get() + taken_, size_ - taken_}; }
    void skip(size_t count) { taken_ += count; }

private:
    int32_t result_ = 0;
    std::unique_ptr<char, freed> text_; // from malloc
    size_t size_ = 0;
    size_t taken_ = 0;
};

// Captures what is printed with kiv_buf_printf until it is taken, or this ends.
class capture {
public:
    capture();
    ~capture();
    capture(const capture &) = delete;
    capture &operator=(const capture &) = delete;

    output take(int32_t result);
};

// The outputs that are being fetched, by the connections that fetch them. Nobody's makes room for
// those of another user: of a few of one user the oldest goes, and where there are too many of all,
// the new one is not kept.
class kept_outputs {
public:
    kept_outputs() { places_.reserve(most); }

    output *find(uint32_t connection);
    void keep(uint32_t connection, uint32_t user, output kept) noexcept;
    void drop(uint32_t connection);

private:
    using clock = std::chrono::steady_clock;

    static constexpr size_t most = 64;
    static constexpr ptrdiff_t most_of_user = 8;
    // Shells take theirs at once: whoever has not come back by then has gone.
    static constexpr clock::duration longest_pause = std::chrono::minutes(1);

    struct place {
        uint32_t connection;
        uint32_t user;
        clock::time_point asked;
        output kept;
    };

    std::vector<place> places_;
};

} // namespace kiv::module

#endif
