// Terminal colours: the three numbered ones, and HSV colours as 24-bit or 256-colour escapes.
#include "libglobal/base/colors.h"

#include <algorithm>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

bool colors_on = true;

struct Rgb {
    int red, green, blue;
};

// In whole numbers, of 10,000 for full saturation at full value: this is no reason to load a mathematics library.
Rgb to_rgb(rv_hsv c) {
    const int value = std::min<int>(c.value, 100) * 100;
    const int chroma = value * std::min<int>(c.saturation, 100) / 100;
    const int hue = c.hue % 360;
    const int second = chroma * (60 - abs(hue % 120 - 60)) / 60;
    const int rgb[6][3] = {{chroma, second, 0}, {second, chroma, 0}, {0, chroma, second},
                           {0, second, chroma}, {second, 0, chroma}, {chroma, 0, second}};
    const int *row = rgb[hue / 60];
    const auto level = [&](int part) { return ((part + value - chroma) * 255 + 5000) / 10000; };
    return {level(row[0]), level(row[1]), level(row[2])};
}

// The 256-colour palette holds a cube of these six levels a channel, and greys of 8, 18, … 238.
constexpr int cube_levels[] = {0, 95, 135, 175, 215, 255};

int nearest_level(int value) {
    int best = 0;
    for (int i = 1; i < 6; i++)
        if (abs(cube_levels[i] - value) < abs(cube_levels[best] - value)) best = i;
    return best;
}

int distance(Rgb a, Rgb b) {
    const int r = a.red - b.red, g = a.green - b.green, l = a.blue - b.blue;
    return r * r + g * g + l * l;
}

int nearest_of_256(Rgb c) {
    const int r = nearest_level(c.red), g = nearest_level(c.green), b = nearest_level(c.blue);
    const int step = std::clamp(((c.red + c.green + c.blue) / 3 - 3) / 10, 0, 23);
    const int grey = 8 + step * 10;
    const bool grey_is_nearer =
        distance(c, {grey, grey, grey}) < distance(c, {cube_levels[r], cube_levels[g], cube_levels[b]});
    return grey_is_nearer ? 232 + step : 16 + 36 * r + 6 * g + b;
}

bool terminal_has_true_color() {
    const char *depth = getenv("COLORTERM");
    return depth && (strcmp(depth, "truecolor") == 0 || strcmp(depth, "24bit") == 0);
}

}  // namespace

bool rv::colors_are_on() {
    return colors_on;
}

std::string rv::color_escape(rv_hsv c) {
    if (!colors_on) return "";
    const Rgb rgb = to_rgb(c);
    char text[32];
    if (terminal_has_true_color()) {
        snprintf(text, sizeof text, "\033[38;2;%d;%d;%dm", rgb.red, rgb.green, rgb.blue);
    } else {
        snprintf(text, sizeof text, "\033[38;5;%dm", nearest_of_256(rgb));
    }
    return text;
}

void rv_colors_toggle(int on) {
    colors_on = on != 0;
}

void rv_colors_set(int number) {
    if (colors_on && number >= 1 && number <= 3) printf("\033[0;3%dm", number);
}

void rv_colors_set_hsv2(rv_hsv c) {
    fputs(rv::color_escape(c).c_str(), stdout);
}

void rv_colors_reset(void) {
    if (colors_on) fputs(rv::color_end, stdout);
}
