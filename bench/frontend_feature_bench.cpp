// Cepstra, deltas, energies, offsets and sign changes. Sizes of cepstra are inputs x coefficients, of deltas
// width x height.
#include <cblas.h>
#include <zelsr/frontend.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>

#include "plain/feature.h"
#include "support/eigen.h"
#include "support/peers.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char stated_sums[] = "few coefficients: the stated join of four partial sums each";
constexpr char recursion[] = "bound by the latency of the recursion, as is the plain loop";
constexpr char stated_order[] = "additions in the stated order, column by column of a row";
constexpr char environment[] = "a short signal: the default floating-point environment is put in place first";
constexpr char strided[] = "two passes over a column of single elements";
constexpr double tolerance = 2e-5;

// Cosines row by row and multipliers, as a record holds them.
struct Tables {
    float *cosines, *lifter;
};

Tables tables(Row& row, int inputs, int coefficients)
{
    const Tables made{row.array<float>(inputs * coefficients), row.array<float>(coefficients)};
    for (int k = 0; k < coefficients; ++k) {
        made.lifter[k] = static_cast<float>(1 + 11 * std::sin((k + 1) * std::numbers::pi / 22));
        for (int j = 0; j < inputs; ++j)
            made.cosines[k * inputs + j] =
                static_cast<float>(std::cos((j + 0.5) * (k + 1) * std::numbers::pi / inputs));
    }
    return made;
}

// A row's calls outlive the function that makes them.
std::shared_ptr<ZelDCTLifterState_32f> record_32f(int inputs, int coefficients)
{
    ZelDCTLifterState_32f* state = nullptr;
    zelsDCTLifterInitAlloc_32f(&state, inputs, coefficients, 22, 1);
    return {state, zelsDCTLifterFree_32f};
}
std::shared_ptr<ZelDCTLifterState_16s> record_16s(int inputs, int coefficients)
{
    ZelDCTLifterState_16s* state = nullptr;
    zelsDCTLifterInitAlloc_16s(&state, inputs, coefficients, 22, 1);
    return {state, zelsDCTLifterFree_16s};
}

void lifter_32f(Row& row)
{
    const int inputs = row.size.width, coefficients = row.size.height;
    const float* src = row.input(inputs, -5.0F, 5.0F);
    const Tables made = tables(row, inputs, coefficients);
    const auto record = record_32f(inputs, coefficients);
    row.registers(inputs * coefficients / 4.0, {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(stated_sums);
    auto answer = row.answer<float>(coefficients, tolerance);
    answer.library([=](float* dst) { zelsDCTLifter_32f(src, dst, record.get()); });
    answer.plain(
        [=](float* dst) { plain::lifted_cosines(src, made.cosines, made.lifter, inputs, coefficients, dst); });
    answer.peer(openblas_name(), [=](float* dst) {
        cblas_sgemv(CblasRowMajor, CblasNoTrans, coefficients, inputs, 1, made.cosines, inputs, src, 1, 0, dst, 1);
        array(dst, coefficients) *= array(made.lifter, coefficients);
    });
    answer.peer("Eigen", [=](float* dst) {
        using Rows = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
        Eigen::Map<Eigen::VectorXf> to(dst, coefficients);
        to.noalias() = Eigen::Map<const Rows>(made.cosines, coefficients, inputs) *
                       Eigen::Map<const Eigen::VectorXf>(src, inputs);
        to.array() *= array(made.lifter, coefficients);
    });
}

void lifter_16s(Row& row)
{
    const int inputs = row.size.width, coefficients = row.size.height;
    const auto* src = row.input<std::int16_t>(inputs, -300, 300);
    const Tables made = tables(row, inputs, coefficients);
    const auto record = record_16s(inputs, coefficients);
    float* sums = row.array<float>(coefficients);
    row.registers(inputs * coefficients / 4.0, {.loads = 1, .multiplies = 1, .adds = 1});
    row.reason_at_every_size(stated_sums);
    auto answer = row.answer<std::int16_t>(coefficients, 1);
    answer.library([=](std::int16_t* dst) { zelsDCTLifter_16s_Sfs(src, dst, record.get(), 4); });
    answer.plain([=](std::int16_t* dst) {
        plain::lifted_cosines(src, made.cosines, made.lifter, inputs, coefficients, sums);
        for (int k = 0; k < coefficients; ++k) dst[k] = static_cast<std::int16_t>(std::lrint(sums[k] * 0x1p-4F));
    });
}

constexpr int kWholeUtterance = DeltaFirstBlock | DeltaLastBlock;

double registers_of(const Row& row, int bytes) { return row.size.elements() * bytes / 16.0; }

void delta_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 2 * width;
    const float* src = row.input(width * height, -5.0F, 5.0F);
    row.registers(registers_of(row, 4), {.loads = 2, .stores = 2, .multiplies = 1, .adds = 1});
    auto answer = row.answer<float>(step * height);
    answer.library(
        [=](float* dst) { zelsDelta_Win1_32f_D2(src, width, dst, step, height, 0.5F, kWholeUtterance); });
    answer.plain([=](float* dst) { plain::delta(src, width, dst, step, height, 0.5F); });
    answer.peer("Eigen", [=](float* dst) {
        using Rows = Eigen::Map<Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>, 0,
                                Eigen::OuterStride<>>;
        Rows statics(dst, height, width, Eigen::OuterStride<>(step));
        Rows deltas(dst + width, height, width, Eigen::OuterStride<>(step));
        statics = Rows(const_cast<float*>(src), height, width, Eigen::OuterStride<>(width));
        const int inner = height - 2;
        deltas.middleRows(1, inner) = (statics.bottomRows(inner) - statics.topRows(inner)) * 0.5F;
        deltas.row(0) = (statics.row(1) - statics.row(0)) * 0.5F;
        deltas.row(height - 1) = (statics.row(height - 1) - statics.row(height - 2)) * 0.5F;
    });
}

void delta_mul_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 2 * width;
    const float* src = row.input(width * height, -5.0F, 5.0F);
    const float* mul = row.input(step, 0.1F, 2.0F);
    row.registers(registers_of(row, 4), {.loads = 4, .stores = 2, .multiplies = 2, .adds = 1});
    auto answer = row.answer<float>(step * height);
    answer.library(
        [=](float* dst) { zelsDeltaMul_Win1_32f_D2(src, mul, width, dst, step, height, kWholeUtterance); });
    answer.plain([=](float* dst) { plain::delta_mul(src, mul, width, dst, step, height); });
}

void delta_16s(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 2 * width;
    const auto* src = row.input<std::int16_t>(width * height, -32768, 32767);
    row.registers(registers_of(row, 2), {.loads = 2, .stores = 2});
    auto answer = row.answer<std::int16_t>(step * height);
    answer.library([=](std::int16_t* dst) {
        zelsDelta_Win1_16s_D2Sfs(src, width, dst, step, height, 300, kWholeUtterance, 8);
    });
    answer.plain([=](std::int16_t* dst) { plain::delta(src, width, dst, step, height, 300, 8); });
}

void delta_delta_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 3 * width;
    const float* src = row.input(width * height, -5.0F, 5.0F);
    row.registers(registers_of(row, 4), {.loads = 7, .stores = 3, .multiplies = 2, .adds = 8});
    auto answer = row.answer<float>(step * height, tolerance);
    answer.library([=](float* dst) {
        zelsDeltaDelta_Win2_32f_D2(src, width, dst, step, height, 0.1F, 0.2F, kWholeUtterance);
    });
    answer.plain([=](float* dst) { plain::delta_delta(src, width, dst, step, height, 0.1F, 0.2F); });
}

void delta_delta_16s(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 3 * width;
    const auto* src = row.input<std::int16_t>(width * height, -32768, 32767);
    row.registers(registers_of(row, 2), {.loads = 7, .stores = 3});
    auto answer = row.answer<std::int16_t>(step * height);
    answer.library([=](std::int16_t* dst) {
        zelsDeltaDelta_Win2_16s_D2Sfs(src, width, dst, step, height, 300, 200, kWholeUtterance, 8);
    });
    answer.plain([=](std::int16_t* dst) { plain::delta_delta(src, width, dst, step, height, 300, 200, 8); });
}

void eval_delta_32f(Row& row)
{
    const int width = row.size.width, height = row.size.height, step = 2 * width;
    const float* initial = row.input(step * height, -5.0F, 5.0F);
    row.registers(registers_of(row, 4), {.loads = 4, .stores = 1, .multiplies = 3, .adds = 4});
    row.reason_at_every_size(stated_order);
    auto answer = row.answer_in_place(initial, step * height);
    answer.library([=](float* srcdst) { zelsEvalDelta_32f_D2(srcdst, height, step, width, 0, 2, 0.1F); });
    answer.plain([=](float* srcdst) { plain::eval_delta(srcdst, height, step, width, 2, 0.1F); });
}

void aurora_32f(Row& row)
{
    const int height = row.size.height, step = 40;
    const float* src = row.input(14 * height, -5.0F, 5.0F);
    row.registers(height * 13 / 4.0, {.loads = 10, .stores = 3, .multiplies = 17, .adds = 15});
    row.reason_at_every_size(stated_order);
    auto answer = row.answer<float>(step * height, tolerance);
    answer.library([=](float* dst) { zelsDeltaDelta_Aurora_32f_D2(src, dst, step, height, kWholeUtterance); });
    answer.plain([=](float* dst) { plain::aurora(src, dst, step, height); });
}

void energy_32f(Row& row)
{
    const int height = row.size.height, step = row.size.width;
    const float* initial = row.input(step * height, 0.0F, 20.0F);
    row.reason_at_every_size(strided);
    auto answer = row.answer_in_place(initial, step * height);
    answer.library([=](float* column) { zelsNormEnergy_32f(column, step, height, 50, 0.1F); });
    answer.plain([=](float* column) { plain::normalise_energy(column, step, height, 50, 0.1F); });
}

void energy_16s(Row& row)
{
    const int height = row.size.height, step = row.size.width;
    const auto* initial = row.input<std::int16_t>(step * height, 0, 20000);
    row.reason_at_every_size(strided);
    auto answer = row.answer_in_place(initial, step * height, 20);
    answer.library([=](std::int16_t* column) { zelsNormEnergy_16s(column, step, height, 30000, 1000, 0.1F); });
    answer.plain([=](std::int16_t* column) { plain::normalise_energy(column, step, height, 30000, 1000, 0.1F); });
}

void offset_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1000.0F, 1000.0F);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<float>(len, tolerance);
    answer.library([=](float* dst) {
        float last = 0;
        zelsCompensateOffset_32f(src, dst, len, &last, 0, 0.999F);
    });
    answer.plain([=](float* dst) { plain::compensate(src, dst, len, 0.999F); });
}

void offset_16s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -10000, 10000);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<std::int16_t>(len);
    answer.library([=](std::int16_t* dst) {
        std::int16_t last = 0;
        zelsCompensateOffset_16s(src, dst, len, &last, 0, 0.999F);
    });
    answer.plain([=](std::int16_t* dst) { plain::compensate_q12(src, dst, len, 0.999F); });
}

void offset_single_16s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -10000, 10000);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<std::int16_t>(len);
    answer.library([=](std::int16_t* dst) {
        std::int16_t last = 0;
        zelsCompensateOffset_16s(src, dst, len, &last, 0, 1.0001F);
    });
    answer.plain([=](std::int16_t* dst) { plain::compensate(src, dst, len, 1.0001F); });
}

void offset_q15(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int16_t>(len, -10000, 10000);
    row.reason_at_every_size(recursion);
    auto answer = row.answer<std::int16_t>(len);
    answer.library([=](std::int16_t* dst) {
        std::int16_t last = 0;
        zelsCompensateOffsetQ15_16s(src, dst, len, &last, 0, 32735);
    });
    answer.plain([=](std::int16_t* dst) { plain::compensate_q15(src, dst, len, 32735); });
}

template <class T, class Count, SrStatus Library(const T*, int32_t, Count*), auto Plain>
void sign_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -100, 100);
    row.registers(len * static_cast<double>(sizeof(T)) / 16, {.loads = 2, .adds = 1});
    row.reason_at_every_size(environment);
    auto answer = row.answer<Count>(1);
    answer.library([=](Count* count) { Library(src, len, count); });
    answer.plain([=](Count* count) { *count = Plain(src, len); });
}

constexpr auto plain_16s = static_cast<int (*)(const std::int16_t*, int)>(plain::sign_changes);
constexpr auto plain_32f = static_cast<float (*)(const float*, int)>(plain::sign_changes);

const Table cepstra{"frontend/cepstrum",
                    {{"zelsDCTLifter_32f", lifter_32f}, {"zelsDCTLifter_16s_Sfs", lifter_16s}},
                    {{23, 12}, {26, 13}, {40, 20}}};

const Table deltas{"frontend/delta",
                   {{"zelsDelta_Win1_32f_D2", delta_32f},
                    {"zelsDeltaMul_Win1_32f_D2", delta_mul_32f},
                    {"zelsDelta_Win1_16s_D2Sfs", delta_16s},
                    {"zelsDeltaDelta_Win2_32f_D2", delta_delta_32f},
                    {"zelsDeltaDelta_Win2_16s_D2Sfs", delta_delta_16s},
                    {"zelsEvalDelta_32f_D2", eval_delta_32f}},
                   {{13, 10}, {12, 300}, {13, 300}, {39, 300}}};

const Table aurora{"frontend/aurora_delta", {{"zelsDeltaDelta_Aurora_32f_D2", aurora_32f}}, {{13, 10}, {13, 300}}};

const Table energies{"frontend/energy",
                     {{"zelsNormEnergy_32f", energy_32f}, {"zelsNormEnergy_16s", energy_16s}},
                     {{1, 300}, {39, 300}}};

const Table signals{
    "frontend/signal",
    {{"zelsCompensateOffset_32f", offset_32f},
     {"zelsCompensateOffset_16s", offset_16s},
     {"zelsCompensateOffset_16s, float", offset_single_16s},
     {"zelsCompensateOffsetQ15_16s", offset_q15},
     {"zelsSignChangeRate_16s", sign_row<std::int16_t, int32_t, zelsSignChangeRate_16s, plain_16s>},
     {"zelsSignChangeRate_32f", sign_row<float, float, zelsSignChangeRate_32f, plain_32f>},
     {"zelsSignChangeRateXor_32f", sign_row<float, int32_t, zelsSignChangeRateXor_32f, plain::sign_bit_changes>},
     {"zelsSignChangeRate_Count0_32f",
      sign_row<float, float, zelsSignChangeRate_Count0_32f, plain::sign_distance>}},
    {{200}, {4096}}};

}  // namespace
}  // namespace zelsr::bench
