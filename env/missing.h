// The missing value: "not known" or "not given" in every field, table, record and
// coordinate of the suite. One number, spelled in the type of the field it is
// compared with so that the comparison stays exact.
#pragma once

constexpr int ZMT_MISSING = -9999;
constexpr float ZMT_FMISSING = -9999.0f;
constexpr double ZMT_DMISSING = -9999.0;
