#include "tests/eventkit/stand-in/CoreGraphics/Color.h"
#include "tests/eventkit/stand-in/World.h"

using quenbrook::standin::countBirth;
using quenbrook::standin::countDeath;
using quenbrook::standin::World;

struct CGColorSpace {};

namespace {
constexpr char nameOfSRGB = 0;
}

const CFStringRef kCGColorSpaceSRGB = reinterpret_cast<CFStringRef>(&nameOfSRGB);

CGColorRef standInColor(const quenbrook::standin::Color& color) {
    auto* created = new CGColor{color};
    countBirth(created, "CGColor");
    return created;
}

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name) {
    World& world = World::current();
    world.record("CGColorSpaceCreateWithName");
    if (name != kCGColorSpaceSRGB || world.lacksTheSRGBSpace) {
        return nullptr;
    }
    auto* space = new CGColorSpace;
    countBirth(space, "CGColorSpace");
    return space;
}

void CGColorSpaceRelease(CGColorSpaceRef space) {
    if (space != nullptr) {
        countDeath(space);
        delete space;
    }
}

CGColorRef CGColorCreateCopyByMatchingToColorSpace(CGColorSpaceRef space,
    CGColorRenderingIntent intent, CGColorRef color, CFDictionaryRef options) {
    World::current().record("CGColorCreateCopyByMatchingToColorSpace intent=" +
                            std::to_string(intent) + (options == nullptr ? "" : " with options"));
    if (space == nullptr || color == nullptr || !color->color.isConvertible) {
        return nullptr;
    }
    auto converted = color->color;
    auto& components = converted.components;
    if (!converted.keepsComponents && !components.empty() && components.size() < 3) {
        const double alpha = components.size() == 2 ? components[1] : 1.0;
        components = {components[0], components[0], components[0], alpha};
    }
    return standInColor(converted);
}

std::size_t CGColorGetNumberOfComponents(CGColorRef color) {
    World::current().record("CGColorGetNumberOfComponents");
    return color->color.components.size();
}

const CGFloat* CGColorGetComponents(CGColorRef color) {
    World::current().record("CGColorGetComponents");
    return color->color.components.data();
}

void CGColorRelease(CGColorRef color) {
    if (color != nullptr) {
        countDeath(color);
        delete color;
    }
}
