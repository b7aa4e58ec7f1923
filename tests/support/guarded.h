// Arrays between pages that nobody may touch, with canaries in what lies between them and the pages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace zelsr::test {

// Which of the two forbidden pages the array touches, but for what its misalignment needs.
enum class Edge { Front, Back };

// misalign: the array's address modulo 16.
struct Placement {
    int misalign = 0;
    Edge edge = Edge::Back;
};

// Every address modulo 16 that elements of this size can lie on, two odd byte addresses, at both edges. The
// thin effort takes the aligned one, one multiple of the element and one odd address.
std::vector<Placement> placements(std::size_t element_size);

std::string describe(const Placement& placement);

// Bytes between guard pages. Everything around the array holds a pattern that intact() looks for.
class GuardedBytes {
  public:
    GuardedBytes(std::size_t bytes, Placement placement);
    ~GuardedBytes();
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    std::byte* address() const { return array_; }
    std::size_t bytes() const { return bytes_; }
    // False if a byte beside the array was written.
    bool intact() const;
    void take_snapshot() { snapshot_.assign(array_, array_ + bytes_); }
    // False if the array or a byte beside it was written since the snapshot.
    bool as_snapshot() const { return intact() && std::memcmp(snapshot_.data(), array_, bytes_) == 0; }

  private:
    std::byte* region_;
    std::size_t payload_;
    std::byte* array_;
    std::size_t bytes_;
    std::vector<std::byte> snapshot_;
};

// An array of T, filled with a pattern at first. Elements are reached by get and set, since the array may lie
// on any byte address; data() is what a library function is given.
template <class T>
class Guarded : public GuardedBytes {
  public:
    explicit Guarded(std::size_t count, Placement placement = {}) : GuardedBytes(count * sizeof(T), placement) {}
    explicit Guarded(const std::vector<T>& values, Placement placement = {}) : Guarded(values.size(), placement)
    {
        fill(values);
    }

    T* data() const { return reinterpret_cast<T*>(address()); }
    std::size_t size() const { return bytes() / sizeof(T); }
    T get(std::size_t i) const
    {
        T value;
        std::memcpy(&value, address() + i * sizeof(T), sizeof value);
        return value;
    }
    void set(std::size_t i, T value) { std::memcpy(address() + i * sizeof(T), &value, sizeof value); }
    void fill(const std::vector<T>& values) { std::memcpy(address(), values.data(), values.size() * sizeof(T)); }
    std::vector<T> values() const
    {
        std::vector<T> copy(size());
        std::memcpy(copy.data(), address(), bytes());
        return copy;
    }
};

// Rows of a D2L list, each between its own guard pages; misalign[r] is the address of row r modulo 16.
template <class T>
class GuardedRows {
  public:
    GuardedRows(const std::vector<std::vector<T>>& rows, const std::vector<int>& misalign, Edge edge = Edge::Back);
    ~GuardedRows()
    {
        for (auto* row : rows_) delete row;
    }
    GuardedRows(const GuardedRows&) = delete;
    GuardedRows& operator=(const GuardedRows&) = delete;

    T* const* list() const { return pointers_.data(); }
    bool intact() const;

  private:
    std::vector<Guarded<T>*> rows_;
    std::vector<T*> pointers_;
};

template <class T>
GuardedRows<T>::GuardedRows(const std::vector<std::vector<T>>& rows, const std::vector<int>& misalign, Edge edge)
{
    for (std::size_t r = 0; r < rows.size(); ++r) {
        rows_.push_back(new Guarded<T>(rows[r], Placement{misalign[r % misalign.size()], edge}));
        pointers_.push_back(rows_.back()->data());
    }
}

template <class T>
bool GuardedRows<T>::intact() const
{
    for (const auto* row : rows_)
        if (!row->intact()) return false;
    return true;
}

}  // namespace zelsr::test
