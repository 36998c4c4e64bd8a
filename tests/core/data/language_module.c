/* A language module for the start-up tests. They copy it into their own
 * folders as Languages/<module name><code>.so and check, through this entry
 * point, that the application object loaded this very file. */
const char* CorvaneLanguageName(void) { return "test language module"; }
