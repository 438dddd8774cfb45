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
    size_t size() const { return size_; }
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

// A user's share is full from so many bytes on, whatever the last output that it took has.
struct output_limits {
    size_t bytes_of_user = 64'000'000;
    size_t bytes = 256'000'000;
    size_t places = 1024;
    // Shells take theirs at once: who has not come back by then may have gone, and has.
    std::chrono::steady_clock::duration pause = std::chrono::seconds(10);
    std::chrono::steady_clock::duration longest_pause = std::chrono::minutes(1);
};

// The outputs that are being fetched, by the connections that fetch them. Nobody's makes room for
// those of another user: where those of a user or of all fill their share, the new one takes the
// places of that user's that have not been asked for lately, the longest first, or is not kept.
class kept_outputs {
public:
    explicit kept_outputs(const output_limits &most = {}) : most_(most)
    {
        places_.reserve(most_.places);
    }

    output *find(uint32_t connection);
    void keep(uint32_t connection, uint32_t user, output kept) noexcept;
    void drop(uint32_t connection);

private:
    using clock = std::chrono::steady_clock;

    struct place {
        uint32_t connection;
        uint32_t user;
        clock::time_point asked;
        output kept;
    };

    bool is_full_for(uint32_t user) const;
    bool make_room(uint32_t user);

    const output_limits most_;
    std::vector<place> places_;
};

} // namespace kiv::module

#endif
