// The processes that work together, one or those that an MPI launcher has started.
#pragma once

#include <functional>
#include <span>
#include <string>

namespace zelsr::examples {

// Built with MPI and started by a launcher (mpirun, srun): every call is collective, all ranks make the same ones.
// Else there is one rank, and nothing to wait for.
class Ranks {
  public:
    Ranks();
    Ranks(const Ranks&) = delete;
    Ranks& operator=(const Ranks&) = delete;
    ~Ranks();

    int rank() const { return rank_; }
    int size() const { return size_; }
    bool first() const { return rank_ == 0; }

    // Each value becomes the sum of all ranks' values.
    void sum(std::span<double> values) const;
    // The first rank's text for all.
    void broadcast(std::string& text) const;
    // Does the work, which calls no other member; if it fails on any rank, every one throws the Failure of the
    // first of these, so that none waits for a rank that has given up.
    void together(const std::function<void()>& work) const;

  private:
    void broadcast(std::string& text, int from) const;

    int rank_ = 0, size_ = 1;
    bool connected_ = false;
};

}  // namespace zelsr::examples
