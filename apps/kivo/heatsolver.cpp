#include "heatsolver.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

double dot(const std::vector<double> &a, const std::vector<double> &b)
{
    double s = 0;
    for (size_t i = 0; i < a.size(); ++i)
        s += a[i] * b[i];
    return s;
}

} // namespace

std::vector<double> HeatSolver::nodeCoordinates(const Model::Mesh &mesh, bool wantY)
{
    const int cx = mesh.cellsX;
    const int cy = mesh.dim == 2 ? mesh.cellsY : 0;
    std::vector<double> c;
    c.reserve(size_t((cx + 1) * (cy + 1)));
    for (int iy = 0; iy <= cy; ++iy)
        for (int ix = 0; ix <= cx; ++ix)
            c.push_back(wantY ? (cy ? mesh.lengthY * iy / cy : 0.0) : mesh.lengthX * ix / cx);
    return c;
}

void HeatSolver::setup(const Model &model, const std::vector<double> &initial)
{
    mesh = model.mesh;
    mat = model.material;
    solver = model.solver;
    boundaries = model.boundaries;
    dt = model.timeStep;
    nx = mesh.cellsX;
    ny = mesh.dim == 2 ? mesh.cellsY : 0;
    dx = mesh.lengthX / nx;
    dy = ny ? mesh.lengthY / ny : 1.0;
    x = nodeCoordinates(mesh, false);
    y = nodeCoordinates(mesh, true);
    T = initial;
    const int n = int(T.size());

    // Control volume of each node: half cells on the boundary. A line mesh
    // stands for a rod of unit cross-section.
    volume.assign(size_t(n), 0.0);
    auto widthX = [this](int ix) { return (ix == 0 || ix == nx) ? dx / 2 : dx; };
    auto widthY = [this](int iy) { return ny == 0 ? 1.0 : (iy == 0 || iy == ny) ? dy / 2 : dy; };
    for (int iy = 0; iy <= ny; ++iy)
        for (int ix = 0; ix <= nx; ++ix)
            volume[size_t(node(ix, iy))] = widthX(ix) * widthY(iy);

    fixedValue.assign(size_t(n), std::numeric_limits<double>::quiet_NaN());
    for (const auto &b : qAsConst(boundaries))
        if (b.type == Model::BcType::Temperature)
            for (int k : sideNodes(b.side))
                fixedValue[size_t(k)] = b.value;

    std::vector<std::vector<std::pair<int, double>>> rows(T.size());
    auto add = [&rows](int i, int j, double a) {
        for (auto &e : rows[size_t(i)])
            if (e.first == j) {
                e.second += a;
                return;
            }
        rows[size_t(i)].push_back({j, a});
    };
    const double rc = mat.density * mat.heatCapacity;
    for (int i = 0; i < n; ++i)
        add(i, i, rc * volume[size_t(i)] / dt);
    for (int iy = 0; iy <= ny; ++iy)
        for (int ix = 0; ix <= nx; ++ix) {
            const int i = node(ix, iy);
            if (ix < nx) {
                const double g = mat.conductivity * widthY(iy) / dx;
                const int j = node(ix + 1, iy);
                add(i, i, g), add(j, j, g), add(i, j, -g), add(j, i, -g);
            }
            if (iy < ny) {
                const double g = mat.conductivity * widthX(ix) / dy;
                const int j = node(ix, iy + 1);
                add(i, i, g), add(j, j, g), add(i, j, -g), add(j, i, -g);
            }
        }
    for (const auto &b : qAsConst(boundaries))
        if (b.type == Model::BcType::Convection)
            for (int k : sideNodes(b.side))
                add(k, k, b.h * boundaryArea(k, b.side));

    rowStart.assign(1, 0);
    cols.clear();
    vals.clear();
    diag.assign(size_t(n), 1.0);
    dirichletCouplings.clear();
    for (int i = 0; i < n; ++i) {
        const bool fixedRow = !std::isnan(fixedValue[size_t(i)]);
        auto &row = rows[size_t(i)];
        std::sort(row.begin(), row.end());
        for (const auto &e : row) {
            const bool fixedCol = !std::isnan(fixedValue[size_t(e.first)]);
            if (fixedRow && e.first != i)
                continue;
            if (!fixedRow && fixedCol && e.first != i) {
                dirichletCouplings.push_back({i, e.first, e.second});
                continue;
            }
            const double a = fixedRow ? 1.0 : e.second;
            cols.push_back(e.first);
            vals.push_back(a);
            if (e.first == i)
                diag[size_t(i)] = a;
        }
        rowStart.push_back(int(cols.size()));
    }
    rhsConst.assign(size_t(n), 0.0);
}

void HeatSolver::setBoundaryValue(int boundary, double value)
{
    auto &b = boundaries[boundary];
    if (b.type == Model::BcType::Convection)
        b.ambient = value;
    else
        b.value = value;
    if (b.type == Model::BcType::Temperature)
        for (int k : sideNodes(b.side))
            fixedValue[size_t(k)] = value;
}

std::vector<int> HeatSolver::sideNodes(Model::Side side) const
{
    std::vector<int> nodes;
    switch (side) {
    case Model::Side::Left:
    case Model::Side::Right:
        for (int iy = 0; iy <= ny; ++iy)
            nodes.push_back(node(side == Model::Side::Left ? 0 : nx, iy));
        break;
    case Model::Side::Bottom:
    case Model::Side::Top:
        for (int ix = 0; ix <= nx; ++ix)
            nodes.push_back(node(ix, side == Model::Side::Bottom ? 0 : ny));
        break;
    }
    return nodes;
}

double HeatSolver::boundaryArea(int n, Model::Side side) const
{
    if (ny == 0)
        return 1.0;
    const int ix = n % (nx + 1);
    const int iy = n / (nx + 1);
    if (side == Model::Side::Left || side == Model::Side::Right)
        return (iy == 0 || iy == ny) ? dy / 2 : dy;
    return (ix == 0 || ix == nx) ? dx / 2 : dx;
}

HeatSolver::StepResult HeatSolver::step()
{
    const size_t n = T.size();
    const double rc = mat.density * mat.heatCapacity;
    std::vector<double> b(n);
    for (size_t i = 0; i < n; ++i)
        b[i] = (rc / dt * T[i] + mat.heatSource) * volume[i];
    for (const auto &bc : qAsConst(boundaries)) {
        if (bc.type == Model::BcType::Temperature)
            continue;
        for (int k : sideNodes(bc.side)) {
            const double area = boundaryArea(k, bc.side);
            b[size_t(k)]
                += bc.type == Model::BcType::Flux ? bc.value * area : bc.h * area * bc.ambient;
        }
    }
    for (size_t i = 0; i < n; ++i)
        if (!std::isnan(fixedValue[i]))
            b[i] = T[i] = fixedValue[i];
    for (const auto &c : dirichletCouplings)
        b[size_t(c.row)] -= c.a * fixedValue[size_t(c.col)];
    return solver.method == QLatin1String("gaussSeidel") ? solveGaussSeidel(b) : solveCg(b);
}

void HeatSolver::multiply(const std::vector<double> &in, std::vector<double> &out) const
{
    const size_t n = in.size();
    for (size_t i = 0; i < n; ++i) {
        double s = 0;
        for (int k = rowStart[i]; k < rowStart[i + 1]; ++k)
            s += vals[size_t(k)] * in[size_t(cols[size_t(k)])];
        out[i] = s;
    }
}

double HeatSolver::residualNorm(const std::vector<double> &b, std::vector<double> &r) const
{
    multiply(T, r);
    for (size_t i = 0; i < r.size(); ++i)
        r[i] = b[i] - r[i];
    return std::sqrt(dot(r, r));
}

HeatSolver::StepResult HeatSolver::solveCg(const std::vector<double> &b)
{
    const size_t n = T.size();
    StepResult result;
    const double bnorm = std::max(std::sqrt(dot(b, b)), std::numeric_limits<double>::min());
    std::vector<double> r(n), z(n), p(n), ap(n);
    double rnorm = residualNorm(b, r);
    for (size_t i = 0; i < n; ++i)
        z[i] = r[i] / diag[i];
    p = z;
    double rz = dot(r, z);
    while (rnorm / bnorm > solver.tolerance && result.iterations < solver.maxIterations) {
        multiply(p, ap);
        const double pap = dot(p, ap);
        if (pap <= 0)
            break; // the matrix is SPD; this only happens once r is at round-off level
        const double alpha = rz / pap;
        for (size_t i = 0; i < n; ++i) {
            T[i] += alpha * p[i];
            r[i] -= alpha * ap[i];
            z[i] = r[i] / diag[i];
        }
        const double rzNew = dot(r, z);
        const double beta = rzNew / rz;
        rz = rzNew;
        for (size_t i = 0; i < n; ++i)
            p[i] = z[i] + beta * p[i];
        rnorm = std::sqrt(dot(r, r));
        ++result.iterations;
    }
    result.residual = rnorm / bnorm;
    result.converged = result.residual <= solver.tolerance;
    return result;
}

HeatSolver::StepResult HeatSolver::solveGaussSeidel(const std::vector<double> &b)
{
    const size_t n = T.size();
    StepResult result;
    const double bnorm = std::max(std::sqrt(dot(b, b)), std::numeric_limits<double>::min());
    std::vector<double> r(n);
    double rnorm = residualNorm(b, r);
    while (rnorm / bnorm > solver.tolerance && result.iterations < solver.maxIterations) {
        for (size_t i = 0; i < n; ++i) {
            double s = b[i];
            for (int k = rowStart[i]; k < rowStart[i + 1]; ++k)
                if (size_t(cols[size_t(k)]) != i)
                    s -= vals[size_t(k)] * T[size_t(cols[size_t(k)])];
            T[i] = s / diag[i];
        }
        rnorm = residualNorm(b, r);
        ++result.iterations;
    }
    result.residual = rnorm / bnorm;
    result.converged = result.residual <= solver.tolerance;
    return result;
}

double HeatSolver::min() const { return *std::min_element(T.begin(), T.end()); }

double HeatSolver::max() const { return *std::max_element(T.begin(), T.end()); }

double HeatSolver::mean() const
{
    double s = 0, v = 0;
    for (size_t i = 0; i < T.size(); ++i) {
        s += T[i] * volume[i];
        v += volume[i];
    }
    return s / v;
}

double HeatSolver::valueAt(double px, double py) const
{
    const double fx = std::clamp(px / dx, 0.0, double(nx));
    const int ix = std::min(int(fx), nx - 1);
    const double wx = fx - ix;
    if (ny == 0)
        return T[size_t(ix)] * (1 - wx) + T[size_t(ix + 1)] * wx;
    const double fy = std::clamp(py / dy, 0.0, double(ny));
    const int iy = std::min(int(fy), ny - 1);
    const double wy = fy - iy;
    return (T[size_t(node(ix, iy))] * (1 - wx) + T[size_t(node(ix + 1, iy))] * wx) * (1 - wy)
        + (T[size_t(node(ix, iy + 1))] * (1 - wx) + T[size_t(node(ix + 1, iy + 1))] * wx) * wy;
}

double HeatSolver::heatFlux(Model::Side side) const
{
    double q = 0, area = 0;
    for (int k : sideNodes(side)) {
        const int ix = k % (nx + 1);
        const int iy = k / (nx + 1);
        int inner = k;
        double d = dx;
        switch (side) {
        case Model::Side::Left:
            inner = node(ix + 1, iy);
            break;
        case Model::Side::Right:
            inner = node(ix - 1, iy);
            break;
        case Model::Side::Bottom:
            inner = node(ix, iy + 1), d = dy;
            break;
        case Model::Side::Top:
            inner = node(ix, iy - 1), d = dy;
            break;
        }
        const double a = boundaryArea(k, side);
        q += mat.conductivity * (T[size_t(k)] - T[size_t(inner)]) / d * a;
        area += a;
    }
    return q / area;
}

std::size_t HeatSolver::memoryBytes() const
{
    const size_t doubles = x.size() + y.size() + T.size() + volume.size() + fixedValue.size()
        + vals.size() + diag.size() + rhsConst.size();
    return doubles * sizeof(double) + (rowStart.size() + cols.size()) * sizeof(int)
        + dirichletCouplings.size() * sizeof(Coupling);
}
