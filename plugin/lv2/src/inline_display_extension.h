/* The inline-display extension some hosts offer (a small picture in the
   mixer strip). Its headers ship with those hosts, not with lv2-dev, so the
   few published declarations are repeated here. */
#pragma once

#include <lv2/core/lv2.h>
#include <stdint.h>

#define LV2_INLINEDISPLAY_URI "http://harrisonconsoles.com/lv2/inlinedisplay"
#define LV2_INLINEDISPLAY_PREFIX LV2_INLINEDISPLAY_URI "#"
#define LV2_INLINEDISPLAY__interface LV2_INLINEDISPLAY_PREFIX "interface"
#define LV2_INLINEDISPLAY__queue_draw LV2_INLINEDISPLAY_PREFIX "queue_draw"
#define LV2_INLINEDISPLAY__in_gui_extension LV2_INLINEDISPLAY_PREFIX "in_gui_extension"

/* Cairo's ARGB32 layout, premultiplied, native byte order. */
typedef struct {
    unsigned char* data;
    int width;
    int height;
    int stride;
} LV2_Inline_Display_Image_Surface;

/* extension_data(LV2_INLINEDISPLAY__interface): called by the host off the
   audio thread; the returned image stays the plugin's and valid until the
   next call. Its width is w, its height at most max_h. */
typedef struct {
    LV2_Inline_Display_Image_Surface* (*render)(LV2_Handle instance, uint32_t w, uint32_t max_h);
} LV2_Inline_Display_Interface;

/* The host feature LV2_INLINEDISPLAY__queue_draw: safe to call from run(). */
typedef struct {
    void* handle;
    void (*queue_draw)(void* handle);
} LV2_Inline_Display;
