/* The grammar of type files. "a | b & c" is "a | (b & c)", equal operators group from the left, "!" takes one option or
   what stands in parentheses. A wrong definition is left out up to its ";". */
%define api.pure full
%define api.prefix {tbs_ft_yy}
%define api.token.prefix {FT_YY_}
%expect 0
%parse-param {void *scanner} {tbs::typing::reading &in}
%lex-param {void *scanner}

%code requires {
#include "typing/reader.hpp"
}

%code {
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

int tbs_ft_yylex(TBS_FT_YYSTYPE *value, void *scanner);

namespace {

// Stacks of this many entries are enough for hundreds of parentheses in one another, and grow up to this.
#define YYMAXDEPTH 10000
#define YYMALLOC in.allocate
#define YYFREE(memory) static_cast<void>(memory) // they go with `in`

constexpr uint32_t swapped_two(uint32_t number) { return (number & 0xff) << 8 | (number >> 8 & 0xff); }
constexpr uint32_t swapped_four(uint32_t number) {
    return swapped_two(number & 0xffff) << 16 | swapped_two(number >> 16);
}

// A number as a plain load finds it in a file that has it in the given byte order.
constexpr uint32_t loaded(uint32_t number, uint32_t (*swapped)(uint32_t), std::endian order) {
    return order == std::endian::native ? number : swapped(number);
}

// Drops each double quote and backslash and keeps the character behind it as it is. So an empty string is read as one
// double quote.
char *unquoted(char *text) {
    char *to = text;
    for (const char *from = text; *from; *to++ = *from++) {
        if (*from == '"' || *from == '\\') from++;
        if (!*from) break;
    }
    *to = '\0';
    return text;
}

void tbs_ft_yyerror(void *, tbs::typing::reading &in, const char *what) {
    if (std::strcmp(what, "memory exhausted") == 0)
        what = in.lacks_memory() ? "tbs_ft_yyparse: memory exhausted" : "yacc stack overflow";
    in.rules.heard_by().bad_syntax(what, in.rules.file(), in.rules.line());
}

} // namespace
}

%union {
    char *text;
    uint32_t number;
    char **names;
    ft_node_t *node;
}

%token <text>   STRING          257
%token <number> INTX            258
%token          FILE_NAME       259
%token          STAT_TYPE       260
%token          MAGIC_VALUE     261
%token          STR_TOKEN       262
%token          FILE_CMD        263
%token          FILE_REGEX_CMD  264
%token          PRINTABLE       265
%token          BYTE_KEY        266
%token          L_SHORT_KEY     267
%token          B_SHORT_KEY     268
%token          L_LONG_KEY      269
%token          B_LONG_KEY      270
%token <text>   NAME            271
%token          OR              272
%token          AND             273
%token          NOT             274

%left OR
%left AND

%type <names> name_list
%type <node>  expr log_part neg_part option_expr option
%type <text>  string

%%

file
    : definition
    | file definition
    ;

definition
    : name_list ':' expr ';'  { in.rules.define($1, $3); }
    | error ';'               { yyerrok; }
    ;

name_list
    : NAME            { $$ = in.rules.add_name(nullptr, $1); }
    | name_list NAME  { $$ = in.rules.add_name($1, $2); }
    ;

expr
    : log_part
    ;

log_part
    : neg_part
    | log_part OR log_part   { $$ = in.rules.join(FT_OR, $1, $3); }
    | log_part AND log_part  { $$ = in.rules.join(FT_AND, $1, $3); }
    ;

neg_part
    : option_expr
    | NOT option_expr  { $$ = in.rules.join(FT_NOT, $2, nullptr); }
    ;

option_expr
    : option
    | '(' expr ')'  { $$ = $2; }
    ;

option
    : FILE_NAME string    { $$ = in.rules.name_test($2); }
    | STAT_TYPE NAME      { $$ = in.rules.status_test($2); }
    | MAGIC_VALUE INTX ',' BYTE_KEY ',' INTX
        { $$ = in.rules.magic_test($2, 1, $6, nullptr); }
    | MAGIC_VALUE INTX ',' L_SHORT_KEY ',' INTX
        { $$ = in.rules.magic_test($2, 2, loaded($6, swapped_two, std::endian::little), nullptr); }
    | MAGIC_VALUE INTX ',' B_SHORT_KEY ',' INTX
        { $$ = in.rules.magic_test($2, 2, loaded($6, swapped_two, std::endian::big), nullptr); }
    | MAGIC_VALUE INTX ',' L_LONG_KEY ',' INTX
        { $$ = in.rules.magic_test($2, 4, loaded($6, swapped_four, std::endian::little), nullptr); }
    | MAGIC_VALUE INTX ',' B_LONG_KEY ',' INTX
        { $$ = in.rules.magic_test($2, 4, loaded($6, swapped_four, std::endian::big), nullptr); }
    | MAGIC_VALUE INTX ',' string
        { $$ = in.rules.magic_test($2, 0, 0, $4); }
    | STR_TOKEN string       { $$ = in.rules.token_test($2); }
    | FILE_CMD string        { $$ = in.rules.command_test($2); }
    | FILE_REGEX_CMD string  { $$ = in.rules.command_regex_test(); }
    | PRINTABLE              { $$ = in.rules.printable_test(); }
    ;

string
    : STRING  { $$ = unquoted($1); }
    ;

%%

// The tree's kinds are the tokens that begin the tests.
constexpr bool is(int token, int kind) { return token == kind; }
static_assert(is(FT_YY_FILE_NAME, FT_NAME_TEST) && is(FT_YY_STAT_TYPE, FT_STATUS_TEST));
static_assert(is(FT_YY_MAGIC_VALUE, FT_MAGIC_TEST) && is(FT_YY_STR_TOKEN, FT_TOKEN_TEST));
static_assert(is(FT_YY_FILE_CMD, FT_COMMAND_TEST) && is(FT_YY_PRINTABLE, FT_PRINTABLE_TEST));
static_assert(is(FT_YY_OR, FT_OR) && is(FT_YY_AND, FT_AND) && is(FT_YY_NOT, FT_NOT));

void *tbs::typing::reading::allocate(size_t size) noexcept {
    try {
        return memory_.emplace_back(std::make_unique<char[]>(size)).get();
    } catch (const std::bad_alloc &) {
        lacks_memory_ = true;
        return nullptr;
    }
}
