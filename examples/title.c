/* Prints a file's title and, given a second argument, sets it:
 *     title song.mp3             prints the title
 *     title song.mp3 "New one"   prints the old title, saves the new one
 * Build against an installed Kestrabel:
 *     cc title.c $(pkg-config --cflags --libs kestrabel) -o title
 */
#include <kestrabel/MediaFile.h>

#include <stdio.h>
#include <stdlib.h>

static int fail(const char *path, const char *what, MediaFileStatus status)
{
    fprintf(stderr, "%s: %s failed: %d (%s): %s\n", path, what, (int)status, MediaFileGetStatusName(status),
            MediaFileGetStatusMessage(status));
    return 1;
}

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        fprintf(stderr, "usage: %s FILE [NEW-TITLE]\n", argv[0]);
        return 2;
    }
    const char *path = argv[1];
    MediaFileRef file = NULL;
    MediaFileStatus status = MediaFileOpen(path, &file, 0);
    if (status != kMediaFileNoErr)
        return fail(path, "open", status);

    char *title = NULL;
    status = MediaFileGetString(file, kMediaFileDataIDTitle, &title);
    if (status == kMediaFileNoErr) {
        printf("%s\n", title);
        free(title); /* texts handed out are the caller's */
    } else if (status == kMediaFileErrNotFound) {
        printf("(no title)\n");
    } else {
        MediaFileClose(file);
        return fail(path, "reading the title", status);
    }

    if (argc == 3) {
        status = MediaFileSetString(file, kMediaFileDataIDTitle, argv[2]);
        if (status == kMediaFileNoErr)
            status = MediaFileUpdate(file, kMediaFileFlagKeepTagVersion);
        if (status != kMediaFileNoErr) {
            MediaFileClose(file);
            return fail(path, "saving the title", status);
        }
    }
    status = MediaFileClose(file);
    return status == kMediaFileNoErr ? 0 : fail(path, "close", status);
}
