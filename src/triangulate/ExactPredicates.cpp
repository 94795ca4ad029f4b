// ExactPredicates.cpp - exact orientation through floating-point expansions.
#include "ExactPredicates.h"

namespace kx {
namespace impl {
namespace {

// a + b = sum + err exactly (Knuth's two-sum).
inline void TwoSum(double a, double b, double& sum, double& err) {
    sum = a + b;
    const double bVirtual = sum - a;
    const double aVirtual = sum - bVirtual;
    err = (a - aVirtual) + (b - bVirtual);
}

// Splits a into two halves of at most 26 significant bits each (Dekker).
inline void Split(double a, double& high, double& low) {
    constexpr double kSplitter = 134217729.0; // 2^27 + 1
    const double c = kSplitter * a;
    high = c - (c - a);
    low = a - high;
}

// a * b = product + err exactly (Dekker's two-product, without fused multiply-add).
inline void TwoProduct(double a, double b, double& product, double& err) {
    product = a * b;
    double ah, al, bh, bl;
    Split(a, ah, al);
    Split(b, bh, bl);
    err = al * bl - (((product - ah * bh) - al * bh) - ah * bl);
}

// An exact sum kept as non-overlapping components in increasing magnitude;
// the sign of the whole is the sign of its largest component. Sixteen
// components are enough for a 2x2 determinant of two-component differences.
class Expansion {
public:
    void add(double b) {
        // Grow-expansion with zero elimination (Shewchuk, figure 7).
        double q = b;
        int out = 0;
        for (int i = 0; i < m_count; ++i) {
            double sum, err;
            TwoSum(q, m_terms[i], sum, err);
            if (err != 0.0) m_terms[out++] = err;
            q = sum;
        }
        if (q != 0.0) m_terms[out++] = q;
        m_count = out;
    }
    int sign() const {
        if (m_count == 0) return 0;
        return m_terms[m_count - 1] > 0.0 ? 1 : -1;
    }

private:
    double m_terms[24];
    int m_count = 0;
};

} // namespace

int Orient2dExact(double ax, double ay, double bx, double by, double cx, double cy) {
    // Each difference is held exactly as hi + lo.
    double dx1, dx1l, dy2, dy2l, dy1, dy1l, dx2, dx2l;
    TwoSum(bx, -ax, dx1, dx1l);
    TwoSum(cy, -ay, dy2, dy2l);
    TwoSum(by, -ay, dy1, dy1l);
    TwoSum(cx, -ax, dx2, dx2l);
    const double left[2] = {dx1, dx1l}, leftOther[2] = {dy2, dy2l};
    const double right[2] = {dy1, dy1l}, rightOther[2] = {dx2, dx2l};
    Expansion det;
    for (double u : left)
        for (double v : leftOther) {
            double p, e;
            TwoProduct(u, v, p, e);
            det.add(p);
            det.add(e);
        }
    for (double u : right)
        for (double v : rightOther) {
            double p, e;
            TwoProduct(u, v, p, e);
            det.add(-p);
            det.add(-e);
        }
    return det.sign();
}

} // namespace impl
} // namespace kx
