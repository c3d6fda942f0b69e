#include <norvane/norvane_c.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
    const uint32_t width = 1200, height = 1600; /* an acquired mammogram: here a bright half disc */
    uint16_t* samples = malloc(sizeof *samples * width * height);
    if (samples == NULL) return 1;
    for (uint32_t y = 0; y < height; ++y) {
        const int64_t down = (int64_t)y - 800;
        for (uint32_t x = 0; x < width; ++x) samples[y * width + x] = x * x + down * down < 700 * 700 ? 2200 : 20;
    }
    norvane_picture picture;
    norvane_init_picture(&picture, sizeof picture);
    picture.samples = samples;
    picture.width = width;
    picture.height = height;
    picture.used_bits = 12;
    picture.pixel_size = 100.0;

    norvane_image* image = NULL;
    norvane_mask* full = NULL;
    int32_t status = NORVANE_MASK_NO_IMAGE;
    if (norvane_prepare(&picture, &image) == NORVANE_DONE) {
        norvane_params params;
        norvane_init_params(&params, sizeof params, image);
        params.side = NORVANE_SIDE_LEFT;
        params.view = NORVANE_VIEW_NO_MUSCLE;
        norvane_full_mask(image, &params, NULL, &full, NULL, NULL, &status);
    }
    double area = 0.0;
    if (full == NULL || norvane_mask_area(full, NULL, NULL, &area) != NORVANE_DONE) {
        fprintf(stderr, "%s\n", norvane_last_error());
    } else {
        printf("%s The breast covers %.0f square millimetres.\n", norvane_status_sentence(status), area);
    }
    norvane_free_mask(full);
    norvane_free_image(image);
    free(samples);
    return status == NORVANE_MASK_OK ? 0 : 1;
}
