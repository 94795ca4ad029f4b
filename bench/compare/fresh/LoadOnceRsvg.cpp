// LoadOnceRsvg.cpp - loads one SVG file with librsvg and exits (no size
// limits, as a program that opens large drawings must ask for).
//
//   rsvg_load_once FILE   exit status 0 when the load succeeded
#include <librsvg/rsvg.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    GFile* file = g_file_new_for_path(argv[1]);
    GError* error = nullptr;
    RsvgHandle* handle = rsvg_handle_new_from_gfile_sync(file, RSVG_HANDLE_FLAG_UNLIMITED, nullptr, &error);
    g_object_unref(file);
    if (error) g_error_free(error);
    if (!handle) return 1;
    g_object_unref(handle);
    return 0;
}
