/* What the examples share: numbers that are held against exact ones, and files of triangles. */
#ifndef ISOFIELD_EXAMPLE_H
#define ISOFIELD_EXAMPLE_H

#include <math.h>
#include <stddef.h>
#include <stdio.h>

static int wrong_numbers = 0;

/* Prints a number beside what it must be, up to `tolerance`. */
static inline void check(const char *what, double value, double expected, double tolerance) {
    const int right = fabs(value - expected) <= tolerance; /* false for NaN */
    printf("%-44s %-11.6g exact: %.6g%s\n", what, value, expected, right ? "" : "   <- wrong");
    if (!right) ++wrong_numbers;
}

/* What main returns. */
static inline int finish(const char *example) {
    if (wrong_numbers > 0) fprintf(stderr, "%s: %d wrong numbers\n", example, wrong_numbers);
    return wrong_numbers > 0;
}

/* Triangles that `points` (npoints x 3) are the corners of, as a Wavefront file. */
static inline void write_obj(const char *name, const float *points, size_t npoints, const int *triangles,
                             size_t ntriangles) {
    FILE *file = fopen(name, "w");
    if (!file) {
        perror(name);
        ++wrong_numbers;
        return;
    }
    for (size_t i = 0; i < npoints; ++i) {
        const float *p = points + 3 * i;
        fprintf(file, "v %g %g %g\n", (double)p[0], (double)p[1], (double)p[2]);
    }
    for (size_t i = 0; i < ntriangles; ++i) {
        const int *t = triangles + 3 * i;
        fprintf(file, "f %d %d %d\n", t[0] + 1, t[1] + 1, t[2] + 1);
    }
    fclose(file);
    printf("%s: %zu points, %zu triangles\n", name, npoints, ntriangles);
}

/* The area of triangles. */
static inline double area_of(const float *points, const int *triangles, size_t ntriangles) {
    double sum = 0;
    for (size_t i = 0; i < ntriangles; ++i) {
        const float *a = points + 3 * triangles[3 * i];
        const float *b = points + 3 * triangles[3 * i + 1], *c = points + 3 * triangles[3 * i + 2];
        const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
        const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        const double x = u[1] * v[2] - u[2] * v[1], y = u[2] * v[0] - u[0] * v[2],
                     z = u[0] * v[1] - u[1] * v[0];
        sum += sqrt(x * x + y * y + z * z) / 2;
    }
    return sum;
}

#endif
