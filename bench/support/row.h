// One row of the table: a member of the library at one size, a plain loop and peers, on the same inputs.
//
//   void mul_32f(Row& row)
//   {
//       const float* first = row.input(row.len, -1.0F, 1.0F);
//       ...
//       row.registers(row.len / 4.0, {.loads = 2, .stores = 1, .multiplies = 1});
//       auto answer = row.answer<float>(row.len);
//       answer.library([=](float* dst) { zelsMul_32f(first, second, dst, len); });
//       answer.plain([=](float* dst) { plain::multiply(first, second, dst, len); });
//       answer.peer("Eigen", [=](float* dst) { ... });
//   }
//   const Table vector_rows{"core/arithmetic", {{"zelsMul_32f", mul_32f}}, {16, 256, 4096}};
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "support/limits.h"

namespace benchmark {
class State;
}

namespace zelsr::bench {

// The size of a row: a vector of `len` elements, or `height` rows of `width`.
struct Size {
    int width, height = 0;
    int elements() const { return height > 0 ? width * height : width; }
    std::string text() const;
};

// What a row came to; ratios say how many times as fast as the other the library is.
struct Result {
    struct Peer {
        std::string name;
        double ratio;
    };
    std::string family, member, size, reason;
    double ns = 0, ns_an_element = 0, plain_ratio = 0;
    double of_limit = 0;  // the shortest possible time by the time taken; 0 if no limit is known
    std::string limiting;
    std::vector<Peer> peers;
    double seconds_of_sound = 0;  // that a call works through; 0 if it is no work on sound
    std::string disagreement;     // of the answers; empty if they agree
};

class Row;

// Where a contender writes, and how far its answer may be from the library's: `tolerance` times the greatest
// magnitude of the answer for floating point, a difference for integers.
template <class T>
class Answer {
  public:
    Answer(Row& row, std::vector<T> initial, double tolerance)
        : row_(row), initial_(std::move(initial)), tolerance_(tolerance)
    {}

    template <class Call>
    void library(Call call)
    {
        contend("library", call);
    }
    template <class Call>
    void plain(Call call)
    {
        contend("plain", call);
    }
    template <class Call>
    void peer(const std::string& name, Call call)
    {
        contend(name, call);
    }
    // A peer that does the same work under other definitions: its answer is not held against the library's.
    template <class Call>
    void peer_of_other_definition(const std::string& name, Call call)
    {
        contend(name, call, false);
    }

  private:
    template <class Call>
    void contend(const std::string& name, Call call, bool compared = true);

    Row& row_;
    std::vector<T> initial_;
    double tolerance_;
};

class Row {
  public:
    explicit Row(Size extent) : size(extent), len(extent.width) {}
    Row(const Row&) = delete;

    const Size size;
    const int len;

    // An array on a 64-byte boundary, the same values in every run.
    template <class T>
    T* input(int count, T low, T high)
    {
        T* values = array<T>(count);
        if constexpr (std::is_floating_point_v<T>) {
            std::uniform_real_distribution<T> draw(low, high);
            for (int i = 0; i < count; ++i) values[i] = draw(random_);
        } else {
            std::uniform_int_distribution<std::int64_t> draw(low, high);
            for (int i = 0; i < count; ++i) values[i] = static_cast<T>(draw(random_));
        }
        return values;
    }
    template <class T>
    T* array(int count)
    {
        return static_cast<T*>(bytes(static_cast<std::size_t>(count) * sizeof(T)));
    }

    // What one call needs at least: `count` times these operations on registers.
    void registers(double count, Operations each);
    // Why the library may not be ahead here; shown where it is not. Short vectors have a reason of their own:
    void reason(std::string text) { reason_ = size.height == 0 && len <= 16 ? call_cost : std::move(text); }
    void reason_at_every_size(std::string text) { reason_ = std::move(text); }

    // One call is work on so much sound; below the row stands how much faster than it sounds.
    void sound(double seconds) { seconds_of_sound_ = seconds; }

    template <class T>
    Answer<T> answer(int count, double tolerance = 0)
    {
        return {*this, std::vector<T>(static_cast<std::size_t>(count)), tolerance};
    }
    // For operations in place: the array as it is before the first call.
    template <class T>
    Answer<T> answer_in_place(const T* initial, int count, double tolerance = 0)
    {
        return {*this, std::vector<T>(initial, initial + count), tolerance};
    }

    // Answers are compared after one call, then the contenders take turns.
    Result measure(benchmark::State& state);

  private:
    template <class T>
    friend class Answer;

    struct Contender {
        std::string name;
        std::function<void(std::int64_t)> call;
        std::function<std::string(const Contender& library)> differs;  // empty: the answers agree
        const void* answer;
    };

    static constexpr char call_cost[] =
        "16 elements: a call into another library and its checks, where plain loops and peers are compiled in";

    void* bytes(std::size_t count);

    std::mt19937 random_{20240229};
    std::vector<std::unique_ptr<unsigned char[]>> blocks_;
    std::vector<Contender> contenders_;  // the library first
    Operations needs_;
    bool limit_known_ = false;
    double seconds_of_sound_ = 0;
    std::string reason_;
};

// The first place where two answers are further apart than allowed, or nothing.
std::string first_difference(const float* a, const float* b, std::size_t count, double tolerance);
std::string first_difference(const double* a, const double* b, std::size_t count, double tolerance);
std::string first_difference(const std::int16_t* a, const std::int16_t* b, std::size_t count, double tolerance);
std::string first_difference(const std::int32_t* a, const std::int32_t* b, std::size_t count, double tolerance);
std::string first_difference(const std::int64_t* a, const std::int64_t* b, std::size_t count, double tolerance);
std::string first_difference(const std::uint8_t* a, const std::uint8_t* b, std::size_t count, double tolerance);

template <class T>
template <class Call>
void Answer<T>::contend(const std::string& name, Call call, bool compared)
{
    const std::size_t count = initial_.size();
    T* out = row_.array<T>(static_cast<int>(count));
    std::memcpy(out, initial_.data(), count * sizeof(T));
    row_.contenders_.push_back({name,
                                [call, out](std::int64_t calls) {
                                    for (; calls > 0; --calls) {
                                        call(out);
                                        asm volatile("" : : "r"(out) : "memory");
                                    }
                                },
                                [out, count, compared, tolerance = tolerance_](const Row::Contender& library) {
                                    if (!compared) return std::string();
                                    return first_difference(static_cast<const T*>(library.answer), out, count,
                                                            tolerance);
                                },
                                out});
}

struct Member {
    const char* name;
    void (*build)(Row&);
};

// Registers every member at every size.
class Table {
  public:
    Table(const char* family, std::initializer_list<Member> members, std::initializer_list<Size> sizes);
};

inline const std::initializer_list<Size> vector_sizes = {{16}, {256}, {4096}};

}  // namespace zelsr::bench
