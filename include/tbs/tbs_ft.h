/*
 * tbs_ft.h - element types of files, by rules kept in type files.
 *
 * A type file (its name ends in ".magic") holds definitions: type names, ":", a rule, ";". The types of a file are the
 * names of the first definition whose rule holds. docs/type_files.md describes the language.
 *
 * Type files lie in the directories of a search path, separated by ";": the environment variable MAGIC_PATH when it
 * is set and not empty, else ".magic" in the home directory of the user that the process belongs to, and "magic" in
 * the product's configuration directory. They are read once in each process, by the first query, all definitions of
 * the path into one list. A load that fails is tried again by the next query.
 *
 * What loading prints, module "tbs" (F the file, N the line that reading has come to):
 *
 *   severity 6  "syntax error on line N in type file "F"." The definition is left out, up to its ";".
 *   severity 6  "yacc stack overflow on line N ...", "tbs_ft_yyparse: memory exhausted on line N ...": what nests too
 *               deeply, or finds no memory. The definitions of the file up to there stay.
 *   severity 6  a text of the scanner in the same form, "fatal error - scanner input buffer overflow" for a file of
 *               more than 1 GiB: loading fails.
 *   severity 4  "Magic value beyond 512 bytes on line N in type file "F"." The test never matches.
 *   severity 6  "Unable to open file "F": REASON." The file is left out.
 *   severity 4  "Everybody on this host may write to the file "F"." It is used; said of the first such file.
 *   severity 6  "Unable to resolve magic (file typing) names:  REASON", "Search path buffer for default file typing
 *               path too small.", "Unable to create storage (stg) area.", "Operation "tbs" failed: Cannot allocate
 *               memory.": loading fails.
 *
 * A sink of messages does not call this module: what loading prints is printed under its lock.
 *
 * A program without a login name and without MAGIC_PATH has no search path: loading fails without a message.
 */
#ifndef TBS_FT_H
#define TBS_FT_H

#include "../ks/ks_file.h"
#include "tbs_status.h"

TBS_BEGIN_C

/* ---- queries --------------------------------------------------------------------------------------------------- */

/** What a query may look at; the sum is its options. A test that is not allowed cannot be decided. */
enum {
    TBS_FT_BY_NAME = 1,    /**< the base name */
    TBS_FT_BY_STATUS = 2,  /**< what kind of file it is */
    TBS_FT_BY_CONTENT = 4, /**< the first 512 bytes */
    TBS_FT_BY_ALL = 15     /**< everything */
};

/** The file is not open. */
#define TBS_FT_NOT_OPEN (-2)

/** The caller knows that the status cannot be had. */
#define TBS_FT_NO_STATUS ((const fileutl_status_t *)~(uintptr_t)0)

/**
 * Gives the element types of a file.
 *
 * Nothing of the file is asked for before a test needs it, and nothing but a regular file is opened: a query does not
 * wait. What cannot be decided counts as not holding. Any thread; queries run side by side.
 *
 * Text is told from other content in the locale of the calling thread (uselocale(), else setlocale()).
 *
 * @param      path           product path ("/" and "\" both separate); its base name is what name tests look at.
 * @param      fd             descriptor of the file, open for reading, left at the position where it is;
 *                            #TBS_FT_NOT_OPEN to open the file meanwhile.
 * @param      status         the file's status; NULL to have it asked for when a test needs it; #TBS_FT_NO_STATUS.
 * @param      second_status  #TBS_FT_NO_STATUS leaves all status tests undecided; NULL or a status change nothing.
 * @param      options        sum of TBS_FT_BY_...
 * @param[out] names_out      the type names of the definition, NULL behind the last. They live as long as the process;
 *                            not to be changed or freed. Untouched on failure.
 * @return  0; -1 when no definition holds, the type files could not be loaded, @p path or @p names_out is NULL, or
 *          there is no memory.
 */
TBS_API int tbs_file_type_opt_2stat(const char *path, int fd, const fileutl_status_t *status,
                                    const fileutl_status_t *second_status, uint32_t options,
                                    const char *const **names_out) TBS_NOEXCEPT;

/** Gives the element types of a file: as tbs_file_type_opt_2stat() without a second status. */
TBS_API int tbs_file_type_opt(const char *path, int fd, const fileutl_status_t *status, uint32_t options,
                              const char *const **names_out) TBS_NOEXCEPT;

/** Gives the element types of a file by all that can be looked at: as tbs_file_type_opt() with #TBS_FT_BY_ALL. */
TBS_API int tbs_file_type(const char *path, int fd, const fileutl_status_t *status,
                          const char *const **names_out) TBS_NOEXCEPT;

/**
 * Gives the search path of the type files, which it loads when that has not been done. Any thread.
 *
 * @return  the path; it belongs to the calling thread's record and lives as long as the thread. NULL when the type
 *          files cannot be loaded or there is no memory.
 */
TBS_API const char *tbs_file_type_path(void) TBS_NOEXCEPT;

/* ---- rules ----------------------------------------------------------------------------------------------------- */

/** Kinds of nodes: what is tested, or how two rules are joined. */
enum {
    FT_NAME_TEST = 259,      /**< the base name matches a pattern */
    FT_STATUS_TEST = 260,    /**< the file is of a kind */
    FT_MAGIC_TEST = 261,     /**< a number or a text stands at a place of the content */
    FT_TOKEN_TEST = 262,     /**< a text stands anywhere in the first 512 bytes */
    FT_COMMAND_TEST = 263,   /**< what a command says of the file: kept, never decided */
    FT_PRINTABLE_TEST = 265, /**< the content is text */
    FT_OR = 272,             /**< either holds */
    FT_AND = 273,            /**< both hold */
    FT_NOT = 274             /**< the operand does not hold */
};

/** Where the content ends for tests: magic values lie within so many bytes. */
#define FT_CONTENT_SIZE 512

/** A rule: a tree of these. A missing node stands for a test that never matches. */
typedef struct ft_node {
    int kind;      /**< FT_... */
    uint32_t line; /**< of the type file, 0 when it is not from one */
    union {
        struct {
            struct ft_node *left;  /**< the operand of #FT_NOT */
            struct ft_node *right; /**< NULL for #FT_NOT */
        } operands;
        struct {
            const char *pattern;  /**< as it was given */
            const char *compiled; /**< the compiled form (see ks_wild.h); NULL without a wildcard */
            int length;           /**< of the compiled form; -1 without a wildcard */
        } name;
        struct {
            uint32_t kind;    /**< as in FILEUTL_KIND; 0 for one that no file has */
            const char *word; /**< as it was given */
        } status;
        struct {
            uint32_t offset; /**< from the start of the content, in bytes */
            uint32_t length; /**< 1, 2 or 4; of a text its bytes */
            int is_text;     /**< 1: a text, 0: a number */
            union {
                uint8_t byte;     /**< for length 1 */
                uint16_t two;     /**< for length 2, as a plain load finds it in memory */
                uint32_t four;    /**< for length 4, the same */
                const char *text; /**< for a text */
            } value;
        } magic;
        struct {
            const char *text;
            uint32_t length; /**< its bytes */
        } token, command;
    } u;
} ft_node_t;

/*
 * The builders. The parser of type files calls them; a program that makes definitions of its own may do so too. Any
 * thread may, but one definition at a time: names are collected in one place. Best before the first query: a query
 * behind a new definition compiles all of them anew, and what was compiled before stays for the queries that use it.
 * Nodes live as long as the process, and a node belongs to one rule. Texts are kept as they are given, not copied: they
 * live as long as the process. A builder that finds no memory says so
 * ("Operation "tbs" failed: Cannot allocate memory.", severity 6) and does nothing else.
 */

/**
 * Appends a definition. Definitions come before those that are read later.
 *
 * @param names  the type names, NULL behind the last: the array is copied, the texts are not. NULL or an empty array
 *               registers nothing.
 * @param rule   the rule; NULL never holds.
 */
TBS_API void ft_reg_def(char **names, ft_node_t *rule) TBS_NOEXCEPT;

/**
 * Collects the type names of one definition.
 *
 * @param list  NULL to begin; else what the call before gave.
 * @param name  the name. Those beyond the 256th are left out.
 * @return  the names so far, NULL behind the last: the one array that all collections use.
 */
TBS_API char **ft_type_name(char **list, char *name) TBS_NOEXCEPT;

/** Gives a rule that holds when either does: without deciding the right one when the left holds. NULL: no memory. */
TBS_API ft_node_t *ft_or_node(ft_node_t *left, ft_node_t *right) TBS_NOEXCEPT;

/** Gives a rule that holds when both do: without deciding the right one unless the left holds. NULL: no memory. */
TBS_API ft_node_t *ft_and_node(ft_node_t *left, ft_node_t *right) TBS_NOEXCEPT;

/** Gives a rule that holds when the operand does not; what cannot be decided stays so. NULL: no memory. */
TBS_API ft_node_t *ft_not_node(ft_node_t *operand) TBS_NOEXCEPT;

/**
 * Gives a test of the base name.
 *
 * @param pattern  pattern (see ks_wild.h), compared exactly.
 * @return  the node; NULL for a bad pattern, one whose compiled form exceeds 512 bytes, a NULL, or no memory.
 */
TBS_API ft_node_t *ft_name_leaf(const char *pattern) TBS_NOEXCEPT;

/**
 * Gives a test of the kind of file. The first letter of the word decides: "c" character device, "d" directory; "b",
 * "f", "l" and "s" never match; any other a regular file.
 *
 * @param word  the word.
 * @return  the node; NULL for a NULL, or no memory.
 */
TBS_API ft_node_t *ft_type_leaf(const char *word) TBS_NOEXCEPT;

/**
 * Gives a test of a place in the content.
 *
 * @param offset  from the start of the content, in bytes.
 * @param length  bytes of the number, 1, 2 or 4; 0 for a text. A number of any other length is never decided.
 * @param number  the number, as a plain load of so many bytes finds it in memory; cut to its length.
 * @param string  the text; NULL for a number.
 * @return  the node; NULL when offset and length make 513 or more ("Magic value beyond 512 bytes ...", severity 4),
 *          for a text that is NULL, or no memory.
 */
TBS_API ft_node_t *ft_magic_leaf(uint32_t offset, uint32_t length, uint32_t number, const char *string) TBS_NOEXCEPT;

/** Gives a test for a text anywhere in the content; NULL for a NULL, or no memory. */
TBS_API ft_node_t *ft_token_leaf(const char *string) TBS_NOEXCEPT;

/** Gives a test by a command, which is never decided; NULL for a NULL, or no memory. */
TBS_API ft_node_t *ft_filecmd_leaf(const char *string) TBS_NOEXCEPT;

/** Gives no node: the test by a command and a regular expression never matches. */
TBS_API ft_node_t *ft_filecmd_regex_leaf(const char *string) TBS_NOEXCEPT;

/**
 * Gives the test for text: printable characters and white space, in lines of at most 256 bytes on average; in a locale
 * of several bytes a character 256 times the longest, which the first 512 bytes never exceed. NULL: no memory.
 */
TBS_API ft_node_t *ft_printable(void) TBS_NOEXCEPT;

TBS_END_C

#endif
