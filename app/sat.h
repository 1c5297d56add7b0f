// The satellite display: the run from the command line to one picture per file.
#pragma once

struct Date;
struct Domain;
struct Image;

// Flag 14, the image input type, and Image.source.
constexpr int SAT_NATIVE = 50;
constexpr int SAT_AREA = 51;
constexpr int SAT_AWIP = 53;
constexpr int SAT_AWIPZ = 54;
constexpr int SAT_UNISYS = 55;
constexpr int SAT_TIFF = 59;
constexpr int SAT_LRIT = 60;

int SAT_main(int argc, char** argv);
int SAT_in_file();
int SAT_set_date(const Date* date);
int SAT_plot(Domain* domain);
int SAT_plot_frame();
int SAT_plot_nextfile(Domain* domain);
int SAT_callback(int kind, const char* event, float x, float y);

int SAT_plot_param();
int SAT_read_file(const char* name, Image* image);
int SAT_domain_image(Domain* domain);
int SAT_image_setup(Image* image, Domain* domain);
int SAT_out_file();
