/*
 * list_types - tells the element type of files.
 *
 *   list_types FILE...
 *
 * One line a file: its name and its types, the most special first. Ends with 0 when all have a type, 1 when one has
 * none. The rules are those of MAGIC_PATH, or of the product and the user.
 */
#include <stdio.h>
#include <tbs/tbs.h>

static int list(const char *path) {
    const char *const *types = NULL;
    if (tbs_file_type(path, TBS_FT_NOT_OPEN, NULL, &types) != 0) {
        printf("%s: -\n", path);
        return 1;
    }
    printf("%s:", path);
    for (; *types; types++) printf(" %s", *types);
    printf("\n");
    return 0;
}

int main(int argc, char **argv) {
    int result = 0;
    for (int i = 1; i < argc; i++) result |= list(argv[i]);
    return result;
}
