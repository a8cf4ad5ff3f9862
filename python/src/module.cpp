// The compiled part of the `zelkov` package.

#include "common.h"

PYBIND11_MODULE(_core, m)
{
    m.doc() = "Zelkov.Trimesh: operations on indexed triangle meshes (the compiled part of `zelkov`)";
    zelkov_python::bind_mesh(m);
    zelkov_python::bind_library(m);
    zelkov_python::bind_edits(m);
    zelkov_python::bind_jobs(m);
}
