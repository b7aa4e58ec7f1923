#include "train_gmm/ranks.h"

#include <cstdlib>
#include <new>

#include "common/failure.h"

#ifdef TRAIN_GMM_MPI
// The C interface alone.
#    define OMPI_SKIP_MPICXX 1
#    define MPICH_SKIP_MPICXX 1
#    include <mpi.h>
#endif

namespace zelsr::examples {

#ifdef TRAIN_GMM_MPI

namespace {

// What launchers leave for the processes that they start. Without one, setting up MPI takes longer than small
// jobs.
bool started_by_launcher()
{
    for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK", "PMI_SIZE"})
        if (std::getenv(name) != nullptr) return true;
    return false;
}

}  // namespace

Ranks::Ranks()
{
    if (!started_by_launcher()) return;
    MPI_Init(nullptr, nullptr);  // MPI's own errors end all ranks
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &size_);
    connected_ = true;
}

Ranks::~Ranks()
{
    if (connected_) MPI_Finalize();
}

void Ranks::sum(std::span<double> values) const
{
    if (connected_)
        MPI_Allreduce(MPI_IN_PLACE, values.data(), static_cast<int>(values.size()), MPI_DOUBLE, MPI_SUM,
                      MPI_COMM_WORLD);
}

void Ranks::broadcast(std::string& text, int from) const
{
    if (!connected_) return;
    int length = static_cast<int>(text.size());
    MPI_Bcast(&length, 1, MPI_INT, from, MPI_COMM_WORLD);
    text.resize(static_cast<std::size_t>(length));
    MPI_Bcast(text.data(), length, MPI_CHAR, from, MPI_COMM_WORLD);
}

#else

Ranks::Ranks() = default;
Ranks::~Ranks() = default;
void Ranks::sum(std::span<double>) const {}
void Ranks::broadcast(std::string&, int) const {}

#endif

void Ranks::broadcast(std::string& text) const { broadcast(text, 0); }

void Ranks::together(const std::function<void()>& work) const
{
    std::string failure;
    bool failed = true;
    try {
        work();
        failed = false;
    } catch (const Failure& what) {
        failure = what.what();
    } catch (const std::bad_alloc&) {
        failure = "not enough memory";
    }
    int first_failed = failed ? rank_ : size_;
#ifdef TRAIN_GMM_MPI
    if (connected_) MPI_Allreduce(MPI_IN_PLACE, &first_failed, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
#endif
    if (first_failed == size_) return;
    broadcast(failure, first_failed);
    throw Failure(failure);
}

}  // namespace zelsr::examples
