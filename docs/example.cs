// SPDX-License-Identifier: Apache-2.0
// Calls the library's interface for C from C#.   mcs -out:example.exe example.cs && mono example.exe
using System;
using System.Runtime.InteropServices;

static class Native
{
    const string Library = "norvane"; // norvane.dll, libnorvane.so

    [StructLayout(LayoutKind.Sequential)]
    public struct Picture // norvane_picture
    {
        public UIntPtr StructSize;
        public IntPtr Samples;
        public UIntPtr RowStride;
        public uint Width, Height, UsedBits;
        public int Inverted;
        public double PixelSize;
        public int NoiseClass, ResampleFirst, HasPadding;
        public ushort PaddingLow, PaddingHigh;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct Params // norvane_params
    {
        public UIntPtr StructSize;
        public int Side, View, NoiseClass;
        public ushort NoiseLevel, PaddingLimit;
        public int FullContour, SingleContour, SmoothContour, ContourOffset, CheckCutTissue, Fast, MuscleOutline;
    }

    public const CallingConvention C = CallingConvention.Cdecl;
    [DllImport(Library, CallingConvention = C)] public static extern IntPtr norvane_last_error();
    [DllImport(Library, CallingConvention = C)] public static extern IntPtr norvane_status_sentence(int status);
    [DllImport(Library, CallingConvention = C)] public static extern void norvane_init_picture(ref Picture picture, UIntPtr size);
    [DllImport(Library, CallingConvention = C)] public static extern void norvane_init_params(ref Params p, UIntPtr size, IntPtr image);
    [DllImport(Library, CallingConvention = C)] public static extern int norvane_prepare(ref Picture picture, out IntPtr image);
    [DllImport(Library, CallingConvention = C)]
    public static extern int norvane_full_mask(IntPtr image, ref Params p, IntPtr frame, out IntPtr full, IntPtr muscle, IntPtr outer, out int status);
    [DllImport(Library, CallingConvention = C)]
    public static extern int norvane_mask_area(IntPtr mask, IntPtr pixelSize, out ulong pixels, out double squareMillimetres);
    [DllImport(Library, CallingConvention = C)] public static extern void norvane_free_mask(IntPtr mask);
    [DllImport(Library, CallingConvention = C)] public static extern void norvane_free_image(IntPtr image);

    public static UIntPtr SizeOf<T>() { return (UIntPtr)Marshal.SizeOf(typeof(T)); }
}

static class Example
{
    static void Check(int result)
    {
        if (result != 0) throw new InvalidOperationException(Marshal.PtrToStringAnsi(Native.norvane_last_error()));
    }

    static int Main()
    {
        const int width = 1200, height = 1600; // an acquired mammogram: here a bright half disc
        var samples = new ushort[width * height];
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                samples[y * width + x] = (ushort)(x * x + (y - 800) * (y - 800) < 700 * 700 ? 2200 : 20);

        IntPtr image = IntPtr.Zero, full = IntPtr.Zero;
        GCHandle pinned = GCHandle.Alloc(samples, GCHandleType.Pinned);
        try
        {
            var picture = new Native.Picture();
            Native.norvane_init_picture(ref picture, Native.SizeOf<Native.Picture>());
            picture.Samples = pinned.AddrOfPinnedObject();
            picture.Width = width;
            picture.Height = height;
            picture.UsedBits = 12;
            picture.PixelSize = 100.0; // micrometres
            Check(Native.norvane_prepare(ref picture, out image));

            var settings = new Native.Params();
            Native.norvane_init_params(ref settings, Native.SizeOf<Native.Params>(), image);
            settings.Side = 1; // NORVANE_SIDE_LEFT
            settings.View = 1; // NORVANE_VIEW_NO_MUSCLE
            int status;
            Check(Native.norvane_full_mask(image, ref settings, IntPtr.Zero, out full, IntPtr.Zero, IntPtr.Zero, out status));
            ulong pixels;
            double area;
            Check(Native.norvane_mask_area(full, IntPtr.Zero, out pixels, out area));
            string sentence = Marshal.PtrToStringAnsi(Native.norvane_status_sentence(status));
            Console.WriteLine("{0} The breast covers {1:F0} square millimetres.", sentence, area);
            return status;
        }
        finally
        {
            pinned.Free();
            Native.norvane_free_mask(full);
            Native.norvane_free_image(image);
        }
    }
}
