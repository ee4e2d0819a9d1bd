#pragma once

#include <string>

#include "base/Bytes.h"

namespace parvel::platform {

// A bitmap as the platform hands it over: window images, application icons, resources.
struct Image {
    int pixelWidth = 0;
    int pixelHeight = 0;
    // Encoded bytes ("public.png") or, for a generated image, raw RGBA rows ("public.rgba").
    std::string format;
    Bytes data;

    friend bool operator==(const Image&, const Image&) = default;
};

}  // namespace parvel::platform
