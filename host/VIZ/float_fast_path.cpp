// The float path between matrix-shaper profiles: reads the pipeline
// LittleCMS built for a float transform, takes it over when it is tone
// curves, matrices and tone curves whose curves this path meets, and runs
// it in blocks of 256 pixels, a channel at a time.
#include "VIZ/float_fast_path.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "KO/KO.h"
#define RX_VIZ_LANES 4
#include "VIZ/float_kernels.h"

namespace rxhost::viz::fast {

Kernels plain_kernels() { return {&shape_block, &matrix_block}; }

namespace {

constexpr int32_t kBlock = 256;
// A curve of this path agrees with LittleCMS's evaluation within this,
// relative to the larger of 1 and the value.
constexpr double kCurveTolerance = 2e-6;
// LittleCMS leaves out a joined matrix this close to the identity.
constexpr double kIdentityTolerance = 0.00001;

// LittleCMS's reading of a float through a 16-bit curve: v * 65535 + 0.5,
// limited to 0..65535, floored by its fixed-point trick (the value is first
// rounded to a 65536th, so that a value within 2^-17 below an integer
// floors up).
uint16_t quick_saturate_word(float v) {
  double d = double(v) * 65535.0 + 0.5;
  if (d <= 0) return 0;
  if (d >= 65535.0) return 0xffff;
  union {
    double value;
    int32_t halves[2];
  } magic;
  magic.value = (d - 32767.0) + 68719476736.0 * 1.5;
  return uint16_t((magic.halves[0] >> 16) + 32767);
}

struct Curve {
  enum class Kind { Identity, Shape, Table } kind = Kind::Identity;
  Shape shape{};
  std::shared_ptr<std::vector<uint16_t>> table;  // 65536 entries
};

struct Plan {
  Kernels kernels;
  Curve in[3];
  bool has_matrix = false;
  double m[9];
  Curve out[3];
  bool copy_alpha = false;
};

void run_curve(const Plan& plan, const Curve& c, float* v, int32_t n) {
  switch (c.kind) {
    case Curve::Kind::Identity:
      return;
    case Curve::Kind::Shape:
      plan.kernels.shape(c.shape, v, v, n);
      return;
    case Curve::Kind::Table: {
      const uint16_t* t = c.table->data();
      for (int32_t i = 0; i < n; ++i) v[i] = float(t[quick_saturate_word(v[i])] / 65535.0);
      return;
    }
  }
}

// The closed form of LittleCMS's parametric types and of the inverses it
// builds of them; false for other types.
bool shape_of(int32_t type, const double* p, Shape* s) {
  const auto f = [](double v) { return float(v); };
  const bool unit_gamma = std::fabs(p[0] - 1.0) < 0.0001;
  switch (type) {
    case 1:  // x^g; negatives 0 (themselves for a unit gamma)
      *s = {0, 1, 0, f(p[0]), 1, 0, unit_gamma ? 1.0f : 0.0f, 0};
      return true;
    case -1:
      *s = {0, 1, 0, f(1.0 / p[0]), 1, 0, unit_gamma ? 1.0f : 0.0f, 0};
      return true;
    case 2:  // (a x + b)^g from -b/a, else 0
      *s = {f(-p[2] / p[1]), f(p[1]), f(p[2]), f(p[0]), 1, 0, 0, 0};
      return true;
    case -2:
      *s = {0, 1, 0, f(1.0 / p[0]), f(1.0 / p[1]), f(-p[2] / p[1]), 0, f(-p[2] / p[1])};
      return true;
    case 3:  // (a x + b)^g + c from -b/a, else c
      *s = {f(-p[2] / p[1]), f(p[1]), f(p[2]), f(p[0]), 1, f(p[3]), 0, f(p[3])};
      return true;
    case -3:
      *s = {f(p[3]), 1, f(-p[3]), f(1.0 / p[0]), f(1.0 / p[1]), f(-p[2] / p[1]), 0, f(-p[2] / p[1])};
      return true;
    case 4:  // (a x + b)^g from d, else c x
      *s = {f(p[4]), f(p[1]), f(p[2]), f(p[0]), 1, 0, f(p[3]), 0};
      return true;
    case -4:
      *s = {f(p[3] * p[4]), 1, 0, f(1.0 / p[0]), f(1.0 / p[1]), f(-p[2] / p[1]),
            p[3] == 0 ? 0.0f : f(1.0 / p[3]), 0};
      return true;
    case 5:  // (a x + b)^g + e from d, else c x + f
      *s = {f(p[4]), f(p[1]), f(p[2]), f(p[0]), 1, f(p[5]), f(p[3]), f(p[6])};
      return true;
    case -5:
      *s = {f(p[3] * p[4] + p[6]), 1, f(-p[5]), f(1.0 / p[0]), f(1.0 / p[1]), f(-p[2] / p[1]),
            p[3] == 0 ? 0.0f : f(1.0 / p[3]), p[3] == 0 ? 0.0f : f(-p[6] / p[3])};
      return true;
    default:
      return false;
  }
}

// Where a curve is checked: a spread over and beyond 0..1, both sides of
// every break, and small values down the octaves.
std::vector<float> probes(const Shape* s) {
  std::vector<float> v;
  for (int32_t i = 0; i <= 4000; ++i) v.push_back(-1.0f + 4.0f * float(i) / 4000.0f);
  for (int32_t k = 1; k <= 60; ++k) {
    v.push_back(std::ldexp(1.0f, -k));
    v.push_back(-std::ldexp(1.0f, -k));
    v.push_back(std::ldexp(1.5f, -k));
  }
  if (s) {
    for (float d : {-1e-5f, -1e-6f, 0.0f, 1e-6f, 1e-5f}) v.push_back(s->threshold + d);
  }
  for (float x : {0.0f, -0.0f, 1.0f, 10.0f, 100.0f, -10.0f}) v.push_back(x);
  while (v.size() % 8) v.push_back(0.5f);
  return v;
}

bool agrees(const Plan& plan, const Curve& c, const cmsToneCurve* lcms, bool exact) {
  std::vector<float> in = probes(c.kind == Curve::Kind::Shape ? &c.shape : nullptr);
  std::vector<float> out = in;
  run_curve(plan, c, out.data(), int32_t(out.size()));
  for (size_t i = 0; i < in.size(); ++i) {
    const double want = cmsEvalToneCurveFloat(lcms, in[i]);
    const double diff = std::fabs(double(out[i]) - want);
    if (exact ? diff != 0 : !(diff <= kCurveTolerance * std::fmax(1.0, std::fabs(want)))) return false;
  }
  return true;
}

bool analyse(const Plan& plan, const cmsToneCurve* lcms, Curve* c) {
  const int32_t type = cmsGetToneCurveParametricType(lcms);
  if (type != 0) {
    const double* p = cmsGetToneCurveParams(lcms);
    if (type == 1 && p[0] == 1.0) {
      c->kind = Curve::Kind::Identity;  // LittleCMS gives x itself
      return agrees(plan, *c, lcms, true);
    }
    c->kind = Curve::Kind::Shape;
    return shape_of(type, p, &c->shape) && agrees(plan, *c, lcms, false);
  }
  // A 16-bit table curve: LittleCMS reads a float through its table.
  c->kind = Curve::Kind::Table;
  c->table = std::make_shared<std::vector<uint16_t>>(65536);
  for (uint32_t w = 0; w < 65536; ++w) (*c->table)[w] = cmsEvalToneCurve16(lcms, cmsUInt16Number(w));
  return agrees(plan, *c, lcms, true);
}

bool analyse_set(const Plan& plan, cmsStage* stage, Curve out[3]) {
  const auto* data = static_cast<const _cmsStageToneCurvesData*>(cmsStageData(stage));
  if (!data || data->nCurves != 3) return false;
  for (int c = 0; c < 3; ++c) {
    if (!analyse(plan, data->TheCurves[c], &out[c])) return false;
    for (int e = 0; e < c; ++e) {  // equal tables are kept once
      if (out[c].table && out[e].table && *out[c].table == *out[e].table) out[c].table = out[e].table;
    }
  }
  return true;
}

// second x first, as LittleCMS joins two matrix stages.
void join(const double* second, const double* first, double* out) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      out[3 * i + j] = second[3 * i] * first[j] + second[3 * i + 1] * first[3 + j] +
                       second[3 * i + 2] * first[6 + j];
    }
  }
}

bool near_identity(const double* m) {
  for (int i = 0; i < 9; ++i) {
    if (std::fabs(m[i] - (i % 4 == 0 ? 1.0 : 0.0)) >= kIdentityTolerance) return false;
  }
  return true;
}

void free_plan(cmsContext, void* data) { delete static_cast<Plan*>(data); }

void transform_lines(struct _cmstransform_struct* cargo, const void* input, void* output,
                     cmsUInt32Number pixels, cmsUInt32Number lines, const cmsStride* stride) {
  const Plan& plan = *static_cast<const Plan*>(_cmsGetTransformUserData(cargo));
  alignas(32) float r[kBlock], g[kBlock], b[kBlock];
  for (cmsUInt32Number line = 0; line < lines; ++line) {
    const auto* src = reinterpret_cast<const float*>(static_cast<const char*>(input) +
                                                     size_t(line) * stride->BytesPerLineIn);
    auto* dst = reinterpret_cast<float*>(static_cast<char*>(output) + size_t(line) * stride->BytesPerLineOut);
    for (cmsUInt32Number start = 0; start < pixels; start += kBlock) {
      const int32_t n = int32_t(pixels - start < cmsUInt32Number(kBlock) ? pixels - start : kBlock);
      const int32_t padded = (n + 7) & ~7;
      const float* s = src + 4 * size_t(start);
      float* d = dst + 4 * size_t(start);
      for (int32_t i = 0; i < n; ++i) {
        r[i] = s[4 * i + 1];
        g[i] = s[4 * i + 2];
        b[i] = s[4 * i + 3];
      }
      for (int32_t i = n; i < padded; ++i) r[i] = g[i] = b[i] = 0.0f;
      run_curve(plan, plan.in[0], r, padded);
      run_curve(plan, plan.in[1], g, padded);
      run_curve(plan, plan.in[2], b, padded);
      if (plan.has_matrix) plan.kernels.matrix(plan.m, r, g, b, padded);
      run_curve(plan, plan.out[0], r, padded);
      run_curve(plan, plan.out[1], g, padded);
      run_curve(plan, plan.out[2], b, padded);
      for (int32_t i = 0; i < n; ++i) {
        if (plan.copy_alpha) d[4 * i] = s[4 * i];
        d[4 * i + 1] = r[i];
        d[4 * i + 2] = g[i];
        d[4 * i + 3] = b[i];
      }
    }
  }
}

// The AVX2 kernels when the processor has them (word 7 of the CPU data,
// which RX_DISABLE can clear), read when a transform is built.
Kernels chosen_kernels() { return KO_G_CPU_DataP && KO_G_CPU_DataP[7] ? avx2_kernels() : plain_kernels(); }

cmsBool factory(_cmsTransform2Fn* xform, void** user_data, _cmsFreeUserDataFn* free_user_data,
                cmsPipeline** lut, cmsUInt32Number* input_format, cmsUInt32Number* output_format,
                cmsUInt32Number* flags) {
  if (*input_format != TYPE_ARGB_FLT || *output_format != TYPE_ARGB_FLT) return FALSE;
  if (*flags & (cmsFLAGS_NULLTRANSFORM | cmsFLAGS_GAMUTCHECK | cmsFLAGS_SOFTPROOFING)) return FALSE;

  std::vector<cmsStage*> stages;
  for (cmsStage* s = cmsPipelineGetPtrToFirstStage(*lut); s; s = cmsStageNext(s)) {
    if (cmsStageType(s) == cmsSigIdentityElemType) continue;
    if (cmsStageInputChannels(s) != 3 || cmsStageOutputChannels(s) != 3) return FALSE;
    stages.push_back(s);
  }
  auto plan = std::unique_ptr<Plan>(new (std::nothrow) Plan);
  if (!plan) return FALSE;
  plan->kernels = chosen_kernels();
  plan->copy_alpha = (*flags & cmsFLAGS_COPY_ALPHA) != 0;

  size_t i = 0;
  if (i < stages.size() && cmsStageType(stages[i]) == cmsSigCurveSetElemType) {
    if (!analyse_set(*plan, stages[i++], plan->in)) return FALSE;
  }
  for (; i < stages.size() && cmsStageType(stages[i]) == cmsSigMatrixElemType; ++i) {
    const auto* data = static_cast<const _cmsStageMatrixData*>(cmsStageData(stages[i]));
    if (data->Offset) return FALSE;
    if (!plan->has_matrix) {
      std::memcpy(plan->m, data->Double, sizeof plan->m);
      plan->has_matrix = true;
    } else {
      double joined[9];
      join(data->Double, plan->m, joined);
      std::memcpy(plan->m, joined, sizeof joined);
    }
  }
  if (plan->has_matrix && near_identity(plan->m)) plan->has_matrix = false;
  if (i < stages.size() && cmsStageType(stages[i]) == cmsSigCurveSetElemType) {
    if (!analyse_set(*plan, stages[i++], plan->out)) return FALSE;
  }
  if (i != stages.size()) return FALSE;
  // A 16-bit output curve steps at every 65535th of its input: the closed
  // forms before it, a float's precision away from LittleCMS's, would move
  // a few of its readings a whole step. Such transforms stay LittleCMS's.
  const auto any = [](const Curve* set, Curve::Kind kind) {
    return set[0].kind == kind || set[1].kind == kind || set[2].kind == kind;
  };
  if (any(plan->out, Curve::Kind::Table) && (any(plan->in, Curve::Kind::Shape))) return FALSE;

  *xform = &transform_lines;
  *user_data = plan.release();
  *free_user_data = &free_plan;
  return TRUE;
}

cmsPluginTransform g_plugin = {
    {cmsPluginMagicNumber, LCMS_VERSION, cmsPluginTransformSig, nullptr},
    {nullptr},
};

}  // namespace
}  // namespace rxhost::viz::fast

namespace rxhost::viz {

cmsPluginTransform* float_fast_path_plugin() {
  fast::g_plugin.factories.xform = &fast::factory;
  return &fast::g_plugin;
}

}  // namespace rxhost::viz
