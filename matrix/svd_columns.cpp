// Steps on columns and rows in double precision.
#include "matrix/svd_columns.h"

#include "core/contract.h"
#include "zelsr/matrix/svd.h"

namespace zelsr {
namespace {

template <class... Index>
SrStatus inside(int32_t count, Index... index)
{
    return require((... && (index >= 0 && index < count)), SrErrSize);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsSumColumnAbs_64f_D2L(const double* const* src, int32_t width, int32_t height, double* result,
                                  int32_t column, int32_t first_row)
{
    if (SrStatus failed = first_failure(non_null(src), non_null(result), positive(width, height),
                                        inside(width, column), inside(height, first_row)))
        return failed;
    store_one(result, sum_of_magnitudes(Column{RowList{src}, column, first_row}, height - first_row));
    return SrOk;
}

SrStatus zelsSumColumnSqr_64f_D2L(double* const* srcdst, int32_t width, int32_t height, double* result,
                                  int32_t column, int32_t first_row, double factor)
{
    if (SrStatus failed = first_failure(non_null(srcdst), non_null(result), positive(width, height),
                                        inside(width, column), inside(height, first_row)))
        return failed;
    const Column run{WritableList{srcdst}, column, first_row};
    store_one(result, scale_and_sum_squares(run, height - first_row, factor));
    return SrOk;
}

SrStatus zelsDotProdColumn_64f_D2L(const double* const* src, int32_t width, int32_t height, double* result,
                                   int32_t first_column, int32_t second_column, int32_t first_row)
{
    if (SrStatus failed = first_failure(non_null(src), non_null(result), positive(width, height),
                                        inside(width, first_column, second_column), inside(height, first_row)))
        return failed;
    const RowList rows{src};
    store_one(result, sum_by_fours(height - first_row, [=](int32_t i) {
                  const double* row = rows[first_row + i];
                  return load_one(row + first_column) * load_one(row + second_column);
              }));
    return SrOk;
}

SrStatus zelsAddMulColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t src_column,
                                  int32_t dst_column, int32_t first_row, double factor)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(width, height),
                                        inside(width, src_column, dst_column), inside(height, first_row)))
        return failed;
    const WritableList rows{srcdst};
    for (int32_t r = first_row; r < height; ++r) {
        double* row = rows[r];
        store_one(row + dst_column, load_one(row + dst_column) + factor * load_one(row + src_column));
    }
    return SrOk;
}

SrStatus zelsMulColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t column,
                               int32_t first_row, double factor)
{
    if (SrStatus failed = first_failure(non_null(srcdst), positive(width, height), inside(width, column),
                                        inside(height, first_row)))
        return failed;
    scale(Column{WritableList{srcdst}, column, first_row}, height - first_row, factor);
    return SrOk;
}

SrStatus zelsQRTransColumn_64f_D2L(double* const* srcdst, int32_t width, int32_t height, int32_t column_a,
                                   int32_t column_b, double c, double s)
{
    if (SrStatus failed =
            first_failure(non_null(srcdst), positive(width, height), inside(width, column_a, column_b)))
        return failed;
    rotate_columns(WritableList{srcdst}, height, column_a, column_b, c, s);
    return SrOk;
}

SrStatus zelsSumRowAbs_64f(const double* src, int32_t len, double* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len))) return failed;
    store_one(result, sum_of_magnitudes(Contiguous{src}, len));
    return SrOk;
}

SrStatus zelsSumRowSqr_64f(double* srcdst, int32_t len, double* result, double factor)
{
    if (SrStatus failed = first_failure(non_null(srcdst, result), positive(len))) return failed;
    store_one(result, scale_and_sum_squares(Contiguous{srcdst}, len, factor));
    return SrOk;
}

SrStatus zelsAddMulRow_64f(const double* src, double* srcdst, int32_t len, double factor)
{
    if (SrStatus failed = first_failure(non_null(src, srcdst), positive(len))) return failed;
    add_multiple(src, srcdst, len, factor);
    return SrOk;
}
