#include "SizeMap/SizeMapSunburstSegment.h"

#include <algorithm>

SizeMapSunburstSegment SizeMapSunburstSegment::interpolated(const SizeMapSunburstSegment& source,
                                                            double progress) const
{
    const double p = std::clamp(progress, 0.0, 1.0);
    const double eased = p * p * (3 - 2 * p);
    const auto mix = [eased](double from, double to) { return from + eased * (to - from); };
    SizeMapSunburstSegment result = *this;
    result.startDegrees = mix(source.startDegrees, startDegrees);
    result.endDegrees = mix(source.endDegrees, endDegrees);
    result.radialStart = mix(source.radialStart, radialStart);
    result.radialEnd = mix(source.radialEnd, radialEnd);
    result.angularInsetDegrees = mix(source.angularInsetDegrees, angularInsetDegrees);
    return result;
}
