// SPDX-License-Identifier: Apache-2.0
// Calls the library's interface for C from Rust.   rustc -L FOLDER_OF_THE_LIBRARY example.rs && ./example
use std::ffi::{c_void, CStr};
use std::os::raw::c_char;
use std::process::ExitCode;
use std::ptr::null_mut;

#[repr(C)]
struct Picture { // norvane_picture
    struct_size: usize,
    samples: *const u16,
    row_stride: usize,
    width: u32,
    height: u32,
    used_bits: u32,
    inverted: i32,
    pixel_size: f64,
    noise_class: i32,
    resample_first: i32,
    has_padding: i32,
    padding_low: u16,
    padding_high: u16,
}

#[repr(C)]
struct Params { // norvane_params
    struct_size: usize,
    side: i32,
    view: i32,
    noise_class: i32,
    noise_level: u16,
    padding_limit: u16,
    full_contour: i32,
    single_contour: i32,
    smooth_contour: i32,
    contour_offset: i32,
    check_cut_tissue: i32,
    fast: i32,
    muscle_outline: i32,
}

type Handle = *mut c_void;

#[link(name = "norvane")]
extern "C" {
    fn norvane_last_error() -> *const c_char;
    fn norvane_status_sentence(status: i32) -> *const c_char;
    fn norvane_init_picture(picture: *mut Picture, size: usize);
    fn norvane_init_params(params: *mut Params, size: usize, image: Handle);
    fn norvane_prepare(picture: *const Picture, image: *mut Handle) -> i32;
    fn norvane_full_mask(image: Handle, params: *const Params, frame: Handle, full: *mut Handle, muscle: *mut Handle,
                         outer: *mut Handle, status: *mut i32) -> i32;
    fn norvane_mask_area(mask: Handle, pixel_size: *mut f64, pixels: *mut u64, square_millimetres: *mut f64) -> i32;
    fn norvane_free_mask(mask: Handle);
    fn norvane_free_image(image: Handle);
}

fn text(sentence: *const c_char) -> String {
    unsafe { CStr::from_ptr(sentence) }.to_string_lossy().into_owned()
}

/// A call that failed becomes its sentence.
fn check(result: i32) -> Result<(), String> {
    if result == 0 { Ok(()) } else { Err(text(unsafe { norvane_last_error() })) }
}

/// Frees its handle at the end.
struct Owned(Handle, unsafe extern "C" fn(Handle));
impl Drop for Owned {
    fn drop(&mut self) {
        unsafe { (self.1)(self.0) }
    }
}

fn main() -> Result<ExitCode, String> {
    let (width, height) = (1200u32, 1600u32); // an acquired mammogram: here a bright half disc
    let inside = |x: i64, y: i64| x * x + (y - 800) * (y - 800) < 700 * 700;
    let samples: Vec<u16> = (0..height)
        .flat_map(|y| (0..width).map(move |x| if inside(x.into(), y.into()) { 2200 } else { 20 }))
        .collect();

    let mut image = Owned(null_mut(), norvane_free_image);
    let mut full = Owned(null_mut(), norvane_free_mask);
    let (mut status, mut area) = (0, 0.0);
    unsafe {
        let mut picture: Picture = std::mem::zeroed();
        norvane_init_picture(&mut picture, std::mem::size_of::<Picture>());
        picture.samples = samples.as_ptr();
        (picture.width, picture.height, picture.used_bits) = (width, height, 12);
        picture.pixel_size = 100.0; // micrometres
        check(norvane_prepare(&picture, &mut image.0))?;

        let mut params: Params = std::mem::zeroed();
        norvane_init_params(&mut params, std::mem::size_of::<Params>(), image.0);
        (params.side, params.view) = (1, 1); // NORVANE_SIDE_LEFT, NORVANE_VIEW_NO_MUSCLE
        check(norvane_full_mask(image.0, &params, null_mut(), &mut full.0, null_mut(), null_mut(), &mut status))?;
        check(norvane_mask_area(full.0, null_mut(), null_mut(), &mut area))?;
    }
    println!("{} The breast covers {:.0} square millimetres.", text(unsafe { norvane_status_sentence(status) }), area);
    Ok(if status == 0 { ExitCode::SUCCESS } else { ExitCode::FAILURE })
}
