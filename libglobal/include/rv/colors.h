// Colours of the terminal on standard output. Everything goes through stdio, so that it stays in order with the text.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// A colour: hue in degrees, saturation and value in percent. Nothing is range-checked where it is stored.
typedef struct {
    uint16_t hue;
    uint8_t saturation;
    uint8_t value;
} rv_hsv;

// Switches all colours on (1, as at the start) or off (0): off, the functions below print nothing.
void rv_colors_toggle(int on);
// One of the numbered colours, which no colour scheme changes: 1 red (errors), 2 green ("OK"), 3 yellow (numbers of
// new instances). Any other number prints nothing.
void rv_colors_set(int number);
// The foreground colour nearest to c: exact where COLORTERM is "truecolor" or "24bit", else among the terminal's 256.
void rv_colors_set_hsv2(rv_hsv c);
// Back to the terminal's own colour.
void rv_colors_reset(void);

#ifdef __cplusplus
}
#endif
