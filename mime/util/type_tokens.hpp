// mime/util/type_tokens.hpp - subtypes and file name extensions, for guessing the type of a file
//
// Named like the members of mime/foundation/tokens.hpp. None of them is loaded into the main symbol
// table: they are plain strings to compare as text.
#pragma once

#include "mime/export.hpp"

/// Registered subtypes beyond those of RFC 1521.
class VELLUM_EXPORT IANASubType {
public:
    static char const * const enriched;
    static char const * const tab_separated_values;
    static char const * const sgml;
    static char const * const html;
    static char const * const appledouble;
    static char const * const header_set;
    static char const * const form_data;
    static char const * const related;
    static char const * const report;
    static char const * const voice_message;
    static char const * const news;
    static char const * const atomicmail;
    static char const * const andrew_inset;
    static char const * const slate;
    static char const * const wita;
    static char const * const dec_dx;
    static char const * const dca_rft;
    static char const * const activemessage;
    static char const * const rtf;
    static char const * const applefile;
    static char const * const mac_binhex40;
    static char const * const news_message_id;
    static char const * const news_transmission;
    static char const * const pdf;
    static char const * const zip;
    static char const * const macwriteii;
    static char const * const msword;
    static char const * const remote_printing;
    static char const * const mathematica;
    static char const * const cybercash;
    static char const * const commonground;
    static char const * const iges;
    static char const * const riscos;
    static char const * const eshop;
    static char const * const x400_bp;
    static char const * const cals_1840;
    static char const * const ief;
    static char const * const g3fax;
    static char const * const tiff;
    static char const * const cgm;
    static char const * const naplps;
    static char const * const quicktime;
    static char const * const wordperfect5_1; // "wordperfect5.1"
    static char const * const _32kadpcm;      // "32kadpcm"
};

/// Private subtypes.
class VELLUM_EXPORT X_SubType {
public:
    static char const * const x_au;
    static char const * const x_avi;
    static char const * const x_avs;
    static char const * const x_bmp;
    static char const * const x_flc;
    static char const * const x_fli;
    static char const * const x_ico;
    static char const * const x_met;
    static char const * const x_midi;
    static char const * const x_mov;
    static char const * const x_mwave;
    static char const * const x_vbs;
    static char const * const x_MS_bmp;
    static char const * const x_aiff;
    static char const * const x_cmu_raster;
    static char const * const x_compress;
    static char const * const x_cpio;
    static char const * const x_cpp;
    static char const * const x_csh;
    static char const * const x_dvi;
    static char const * const x_gtar;
    static char const * const x_gzip;
    static char const * const x_javascript;
    static char const * const x_latex;
    static char const * const x_mac_binhex40;
    static char const * const x_msvideo;
    static char const * const x_portable_anymap;
    static char const * const x_portable_bitmap;
    static char const * const x_portable_graymap;
    static char const * const x_portable_pixmap;
    static char const * const x_rgb;
    static char const * const x_sh;
    static char const * const x_shar;
    static char const * const x_stuffit;
    static char const * const x_tar;
    static char const * const x_tcl;
    static char const * const x_tex;
    static char const * const x_texinfo;
    static char const * const x_wav;
    static char const * const x_xwindowdump;
    static char const * const x_xbitmap;
    static char const * const x_xpixmap;
    static char const * const x_zip_compressed;
};

/// File name extensions, without their dot.
class VELLUM_EXPORT FileExt {
public:
    static char const * const arj;
    static char const * const au;
    static char const * const avi;
    static char const * const avs;
    static char const * const bat;
    static char const * const bin;
    static char const * const bmp;
    static char const * const cmd;
    static char const * const dll;
    static char const * const doc;
    static char const * const eps;
    static char const * const exe;
    static char const * const flc;
    static char const * const fli;
    static char const * const fls;
    static char const * const gif;
    static char const * const ico;
    static char const * const jpeg;
    static char const * const jpg;
    static char const * const lch;
    static char const * const ldf;
    static char const * const lis;
    static char const * const lrp;
    static char const * const lss;
    static char const * const lwp;
    static char const * const met;
    static char const * const mid;
    static char const * const midi;
    static char const * const mov;
    static char const * const mpg;
    static char const * const pac;
    static char const * const pre;
    static char const * const prs;
    static char const * const ps;
    static char const * const sam;
    static char const * const tar;
    static char const * const txt;
    static char const * const vbs;
    static char const * const wav;
    static char const * const wk2;
    static char const * const wk3;
    static char const * const wks;
    static char const * const zip;
    static char const * const ai;
    static char const * const aif;
    static char const * const aifc;
    static char const * const aiff;
    static char const * const c;
    static char const * const cpi;
    static char const * const cpio;
    static char const * const cpp;
    static char const * const csh;
    static char const * const dvi;
    static char const * const gta;
    static char const * const gtar;
    static char const * const gz;
    static char const * const h;
    static char const * const hpp;
    static char const * const hqx;
    static char const * const htm;
    static char const * const html;
    static char const * const inl;
    static char const * const jpe;
    static char const * const js;
    static char const * const lat;
    static char const * const latex;
    static char const * const ls;
    static char const * const mocha;
    static char const * const mpe;
    static char const * const pbm;
    static char const * const pgm;
    static char const * const pnm;
    static char const * const ppm;
    static char const * const qt;
    static char const * const ras;
    static char const * const rc;
    static char const * const rgb;
    static char const * const rtf;
    static char const * const sh;
    static char const * const sha;
    static char const * const shar;
    static char const * const sit;
    static char const * const snd;
    static char const * const tcl;
    static char const * const tex;
    static char const * const txi;
    static char const * const texi;
    static char const * const texinfo;
    static char const * const text;
    static char const * const tif;
    static char const * const tiff;
    static char const * const xbm;
    static char const * const xpm;
    static char const * const xwd;
    static char const * const Z;
};
