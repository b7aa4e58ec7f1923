// Singular value decomposition with both sets of vectors. Sizes are width x height.
#include <zelsr/matrix/svd.h>

#include <algorithm>
#include <cstring>

#include "plain/svd.h"
#include "support/peers.h"
#include "support/row.h"

// LAPACK, out of OpenBLAS: matrices in columns, so that ours is its transpose.
extern "C" void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a, const int* lda,
                        double* s, double* u, const int* ldu, double* vt, const int* ldvt, double* work,
                        const int* lwork, int* info, std::size_t jobu_length, std::size_t jobvt_length);

namespace zelsr::bench {
namespace {

constexpr char bidiagonal_work[] =
    "dgesvd reduces by blocks of matrix products in 32-byte registers, and of a tall matrix first takes Q R";

void decomposition(Row& row)
{
    const int width = row.size.width, height = row.size.height;
    const int elements = width * height, square = width * width;
    const double* a = row.input(elements, -1.0, 1.0);
    double *u = row.array<double>(elements), *v = row.array<double>(square);
    const int work_size = 64 * (width + height) + 4 * width;
    double *work = row.array<double>(work_size), *copy = row.array<double>(elements);
    row.reason_at_every_size(bidiagonal_work);
    auto answer = row.answer<double>(width, 1e-12);
    answer.library([=](double* w) { zelsSVDSort_64f_D2(a, u, height, w, v, width, width, 30); });
    answer.plain([=](double* w) {
        std::memcpy(u, a, static_cast<std::size_t>(elements) * sizeof *a);
        plain::singular_values(u, w, v, height, width);
    });
    answer.peer("dgesvd of " + openblas_name(), [=](double* w) {
        std::memcpy(copy, a, static_cast<std::size_t>(elements) * sizeof *a);
        int info;
        dgesvd_("S", "S", &width, &height, copy, &width, w, v, &width, u, &width, work, &work_size, &info, 1, 1);
    });
}

const Table svd{"matrix/svd", {{"zelsSVDSort_64f_D2", decomposition}}, {{8, 8}, {64, 64}, {40, 200}}};

}  // namespace
}  // namespace zelsr::bench
