// The five tip functions; the weights themselves are in PXTipWeights.h.
#include "brush/PXTipFunction.h"

#include "PXTipWeights.h"

float PXFlatTipFunction::GetWeight(float& radius, double d) { return pxtip::Flat(radius, d); }
float PXDullTipFunction::GetWeight(float& radius, double d) { return pxtip::Dull(radius, d); }
float PXDullAntiAliasingTipFunction::GetWeight(float& radius, double d) { return pxtip::DullAA(radius, d); }
float PXLinearTipFunction::GetWeight(float& radius, double d) { return pxtip::Linear(radius, d); }
float PXLinearTipFunction2::GetWeight(float& radius, double d) { return pxtip::Linear2(radius, d); }
