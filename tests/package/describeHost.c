/* Prints a section as JSON, and the section that the JSON gives. */
#include <describe/json/psiDescribe.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    static const uint8_t cat[] = {0x01, 0xB0, 0x09, 0xFF, 0xFF, 0xC3, 0x00, 0x00, 0xD5, 0xDC, 0xFB, 0x4C};
    psiDescribeError error;
    size_t length = 0;
    const uint8_t *bytes;
    char *json = psiDescribeSection(cat, sizeof cat, 1, PSI_DESCRIBE_ANY, &error);
    psiDescribeSections *made = json ? psiDescribeCompile(json, strlen(json), PSI_DESCRIBE_ANY, &error) : NULL;
    if (!made) {
        fprintf(stderr, "%s: %s\n", error.place, error.message);
        return 1;
    }
    fputs(json, stdout);
    bytes = psiDescribeSectionBytes(made, 0, &length, NULL);
    puts(length == sizeof cat && memcmp(bytes, cat, length) == 0 ? "the same bytes" : "other bytes");
    psiDescribeSectionsFree(made);
    psiDescribeFree(json);
    return 0;
}
