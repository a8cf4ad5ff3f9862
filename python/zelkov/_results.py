"""The figures the jobs return: plain dataclasses, with numpy arrays for the
per-vertex maps and fields (owned by the arrays, not copied)."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np


@dataclass(frozen=True)
class InvestigationFigures:
    """The core's investigation report; its figures count triangle sides."""
    done: bool
    skipped_because: str
    degenerate_triangles: int
    boundary_sides: int
    manifold_sides: int
    oriented_manifold_sides: int
    non_manifold_sides: int
    text: str


@dataclass(frozen=True, eq=False)
class MeasureFigures:
    area: float
    signed_volume: float
    volume: float
    barycenter: np.ndarray
    principal_frame: np.ndarray  #: 4x4, rows 0-2 the axes of largest to smallest moment, row 3 the origin


@dataclass(frozen=True)
class EdgeFigures:
    edges: int
    boundary: int
    manifold: int
    non_manifold: int
    misoriented: int


@dataclass(frozen=True)
class VertexClassFigures:
    regular_or_free: int
    boundary: int
    inconsistent_orientation: int
    on_non_manifold_edge: int
    pinch: int


@dataclass(frozen=True)
class WeldedFigures:
    vertices: int
    edges: int
    triangles: int
    euler_characteristic: int


@dataclass(frozen=True)
class DefectFigures:
    topologically_degenerate: int
    zero_area: int
    duplicate_positions: int
    duplicate_triangles: int
    non_finite_vertices: int


@dataclass(frozen=True, eq=False)
class InspectResult:
    """What `inspect` finds in a mesh as stored."""
    vertices: int
    triangles: int
    box: np.ndarray  #: (2, 3): min and max of the vertices that triangles use
    measures: MeasureFigures
    edges: EdgeFigures
    boundary_loops: int
    closed_manifold: bool
    closed_and_consistently_oriented: bool
    vertex_classes: VertexClassFigures
    free_vertices: int
    connected_components: int
    non_orientable_components: int
    welded: WeldedFigures
    defects: DefectFigures
    investigation: InvestigationFigures


@dataclass(frozen=True, eq=False)
class WeldResult:
    vertices_merged: int
    triangles_merged: int
    degenerate_removed: int
    free_vertices_removed: int
    vertex_map: np.ndarray  #: new index per input vertex; NO_INDEX when removed


@dataclass(frozen=True, eq=False)
class CollapseCounts:
    triangles_before: int
    triangles_after: int
    collapses: int
    passes: int
    boundary_edges: int
    non_manifold_edges: int
    feature_edges: int
    pinned_vertices: int
    refused_by_link: int
    refused_by_normal: int
    removed_triangles: int
    largest_error: float
    largest_distance: float
    reached_target: bool
    survivor: np.ndarray


@dataclass(frozen=True, eq=False)
class SimplifyResult:
    weld: WeldResult
    investigation: InvestigationFigures
    target_triangles: int
    error_bound: float
    collapse: CollapseCounts
    relaxed_edges: int
    vertex_map: np.ndarray  #: vertex of the result per input vertex; NO_INDEX when removed
    curvature: np.ndarray
    valid: bool
    closed_and_consistently_oriented: bool


@dataclass(frozen=True, eq=False)
class FeaturesResult:
    back_to_back_duplicates_set_aside: int
    sharp_edges: int
    vertices_on_sharp_edges: int
    on_sharp_edge: np.ndarray
    roughness: np.ndarray
    curvature: np.ndarray
    smoothed_curvature: np.ndarray
    undefined_roughness: int
    undefined_curvature: int
    undefined_smoothed_curvature: int


@dataclass(frozen=True)
class RemovalResult:
    degenerate: int
    zero_area: int
    duplicates: int
    back_to_back: int
    small_components: int
    component_triangles: int


@dataclass(frozen=True, eq=False)
class ManifoldResult:
    non_manifold_edges: int
    split_vertices: int
    vertices_added: int
    vertex_source: np.ndarray  #: for each vertex of the result, the input vertex it copies


@dataclass(frozen=True)
class OrientResult:
    components: int
    flipped_triangles: int
    non_orientable_components: int
    turned_outward: int


@dataclass(frozen=True)
class FillResult:
    holes: int
    filled: int
    too_large: int
    not_simple: int
    refused: int
    triangles_added: int
    vertices_added: int


@dataclass(frozen=True, eq=False)
class RepairResult:
    """What `repair` did, step by step."""
    weld: WeldResult
    tolerance: float
    tolerance_vertices_merged: int
    removal: RemovalResult
    free_vertices_removed: int
    manifold: ManifoldResult
    orientation: OrientResult
    fill: FillResult
    vertex_map: np.ndarray  #: index on return per input vertex; NO_INDEX when merged away or removed
