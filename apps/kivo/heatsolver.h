#pragma once

#include "model.h"

#include <vector>

// Transient heat conduction, implicit Euler in time, finite volumes on the
// nodes of a structured line or rectangle mesh. Each step solves the
// symmetric system (C/dt + K) T = C/dt T_old + b with Conjugate Gradient
// (Jacobi preconditioned) or Gauss-Seidel; iteration counts and residuals
// are the solver's own.
class HeatSolver
{
public:
    struct StepResult {
        int iterations = 0;
        double residual = 0; // ||b - A x|| / ||b|| at the end
        bool converged = false;
    };

    // Boundary values may change over time; the caller sets them before each step.
    void setup(const Model &model, const std::vector<double> &initial);
    void setBoundaryValue(int boundary, double value);
    StepResult step();

    int numNodes() const { return int(T.size()); }
    const std::vector<double> &values() const { return T; }
    const std::vector<double> &xs() const { return x; }
    const std::vector<double> &ys() const { return y; }
    double min() const;
    double max() const;
    double mean() const; // volume weighted
    double valueAt(double px, double py) const;
    // Mean heat flux into the body through a side (W/m^2).
    double heatFlux(Model::Side side) const;
    std::size_t memoryBytes() const;

    static std::vector<double> nodeCoordinates(const Model::Mesh &mesh, bool wantY);

private:
    struct Coupling {
        int row;
        int col;
        double a;
    };

    int node(int ix, int iy) const { return iy * (nx + 1) + ix; }
    std::vector<int> sideNodes(Model::Side side) const;
    double boundaryArea(int n, Model::Side side) const;
    void multiply(const std::vector<double> &in, std::vector<double> &out) const;
    StepResult solveCg(const std::vector<double> &b);
    StepResult solveGaussSeidel(const std::vector<double> &b);
    double residualNorm(const std::vector<double> &b, std::vector<double> &r) const;

    Model::Mesh mesh;
    Model::Material mat;
    Model::Solver solver;
    QVector<Model::Boundary> boundaries;
    double dt = 1;
    int nx = 1;
    int ny = 0;
    double dx = 1;
    double dy = 1;
    std::vector<double> x, y, T, volume;
    std::vector<double> fixedValue; // per node: NaN unless a Dirichlet node
    // CSR matrix, Dirichlet rows and columns replaced by identity.
    std::vector<int> rowStart, cols;
    std::vector<double> vals, diag;
    std::vector<Coupling> dirichletCouplings; // moved to the right-hand side each step
    std::vector<double> rhsConst; // sources, fluxes and convection
};
