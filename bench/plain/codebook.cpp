#include "plain/codebook.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace zelsr::bench::plain {
namespace {

constexpr float largest = std::numeric_limits<float>::max();

bool is_above(float a, float b) { return a > b * 1.000001; }
bool is_below(float a, float b) { return a * 1.000001 < b; }

float distance(const float* a, const float* b, int width)
{
    float sum = 0;
    for (int k = 0; k < width; ++k) sum += (a[k] - b[k]) * (a[k] - b[k]);
    return sum;
}

struct Clusters {
    const float* rows;
    int width, height;
    float* centroids;
    std::vector<int> labels, populations;
    std::vector<float> distances, radii;

    const float* row(int i) const { return rows + i * width; }
    float* centroid(int c) const { return centroids + c * width; }

    void update_centroids(int count)
    {
        std::fill_n(centroids, count * width, 0.0F);
        populations.assign(static_cast<unsigned>(count), 0);
        for (int i = 0; i < height; ++i) {
            ++populations[labels[i]];
            for (int k = 0; k < width; ++k) centroid(labels[i])[k] += row(i)[k];
        }
        for (int c = 0; c < count; ++c)
            for (int k = 0; k < width; ++k) centroid(c)[k] /= static_cast<float>(populations[c]);
    }

    int nearest(int i, int count, float* best) const
    {
        int found = labels[i];
        *best = largest;
        for (int c = 0; c < count; ++c) {
            const float d = distance(row(i), centroid(c), width);
            if (is_below(d, *best)) {
                *best = d;
                found = c;
            }
        }
        return found;
    }

    // The number of rows that moved.
    int reassign(int count, float* total)
    {
        int moved = 0;
        *total = 0;
        for (int i = 0; i < height; ++i) {
            const int own = labels[i], found = nearest(i, count, &distances[i]);
            if (found != own && populations[own] >= 2) {
                --populations[own];
                ++populations[found];
                labels[i] = found;
                ++moved;
            } else {
                distances[i] = distance(row(i), centroid(own), width);
            }
            *total += distances[i];
        }
        return moved;
    }

    void update_radii(int count)
    {
        radii.assign(static_cast<unsigned>(count), 0);
        for (int i = 0; i < height; ++i)
            if (is_above(distances[i], radii[labels[i]])) radii[labels[i]] = distances[i];
        for (int c = 0; c < count; ++c) radii[c] = populations[c] < 2 ? 0 : 2 * radii[c];
    }

    void take_nearer_half(int from, int to)
    {
        for (int n = populations[from] / 2; n > 0; --n) {
            int found = -1;
            float best = largest;
            for (int i = 0; i < height; ++i)
                if (labels[i] == from && is_above(best, distances[i])) {
                    best = distances[i];
                    found = i;
                }
            labels[found] = to;
            distances[found] = largest;
        }
    }
};

}  // namespace

void train_codebook(const float* rows, int width, int height, int size, float* codewords)
{
    const auto n = static_cast<unsigned>(height);
    Clusters all{rows, width, height, codewords, std::vector<int>(n), {}, std::vector<float>(n), {}};
    all.update_centroids(1);
    for (int i = 0; i < height; ++i) all.distances[i] = distance(all.row(i), all.centroid(0), width);
    all.update_radii(1);
    for (int count = 1; count < size; ++count) {
        int widest = 0;
        for (int c = 1; c < count; ++c)
            if (is_above(all.radii[c], all.radii[widest])) widest = c;
        all.take_nearer_half(widest, count);
        float before = 0, total = 0;
        for (int pass = 0; pass < 20; ++pass, before = total) {
            all.update_centroids(count + 1);
            if (all.reassign(count + 1, &total) == 0 && std::fabs(total - before) <= 0.0001 * total) break;
        }
        all.update_radii(count + 1);
    }
}

void nearest(const float* rows, int height, int width, const float* codewords, int count, int* index,
             float* distances)
{
    for (int r = 0; r < height; ++r) {
        float best = largest;
        for (int i = 0; i < count; ++i) {
            const float d = distance(rows + r * width, codewords + i * width, width);
            if (d < best) {
                best = d;
                index[r] = i;
            }
        }
        distances[r] = std::sqrt(best);
    }
}

}  // namespace zelsr::bench::plain
