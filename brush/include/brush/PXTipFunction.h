// Tip functions: the weight of a point at a squared distance from a dab's
// centre. Stateless; each brush owns its own.
#pragma once

// radius is the dab's radius (read, never written through); distanceSquared
// the squared distance in pixels. 1.0 is full ink.
class PXTipFunction {
public:
    virtual ~PXTipFunction() = default;
    virtual float GetWeight(float& radius, double distanceSquared) = 0;
};

// Full inside the radius, a falling ring one pixel wide outside it.
class PXFlatTipFunction : public PXTipFunction {
public:
    float GetWeight(float& radius, double distanceSquared) override;
};

// Parabolic falloff inside radius - 0.2, a faint ring below that bound.
class PXDullTipFunction : public PXTipFunction {
public:
    float GetWeight(float& radius, double distanceSquared) override;
};

// Round profile inside radius - 0.2, a linear ring out to radius + 0.8.
class PXDullAntiAliasingTipFunction : public PXTipFunction {
public:
    float GetWeight(float& radius, double distanceSquared) override;
};

// A cone: 1 at the centre, 0 at the radius.
class PXLinearTipFunction : public PXTipFunction {
public:
    float GetWeight(float& radius, double distanceSquared) override;
};

// A cone in the core, a flat low shelf in the outer part of the disc.
class PXLinearTipFunction2 : public PXTipFunction {
public:
    float GetWeight(float& radius, double distanceSquared) override;
};
